// What a run notes for its verdict, from its parts.
#include "verdict/VerdictNotes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "geometry/GeometryBuilders.h"
#include "verdict/VerdictLimits.h"
#include "verdict/VerdictOfRun.h"
#include "verdict/VerdictPoints.h"

namespace orvo::test {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

TEST(VerdictNotes, BasisOfTheDecrease) {
  const struct {
    const char* what;
    bool pcg, gpu;
    int32_t layout;
    bool inexact;
    int64_t ownCameraUnknowns;
  } table[] = {{"dense", false, false, LayoutEop, false, 0},
               {"sparse", true, false, LayoutEopIop, true, 0},
               {"device", false, true, LayoutIop, true, 0},
               {"own cameras", false, false, LayoutMergedEopIop, false, 35}};
  for (const auto& row : table) {
    BlockParts block;
    block.Limits.Apply_PCG_Model = row.pcg;
    block.Limits.Apply_GPU = row.gpu;
    block.Unknowns.nLayoutMode = row.layout;
    block.Unknowns.nUnknownNum = 77;
    block.Images.nUnknownImageNum = 7;
    block.Points.nImagePointNum = 1000;
    block.Points.nObjectPointNum = 300;
    const DecreaseBasis basis = DecreaseBasisOf(block.Limits, block.Unknowns, block.Images, block.Points);
    EXPECT_EQ(basis.bInexact, row.inexact) << row.what;
    EXPECT_EQ(basis.nOwnCameraUnknowns, row.ownCameraUnknowns) << row.what;
    EXPECT_EQ(basis.nRedundancy, 2000 - 900 - 77) << row.what;
  }
}

TEST(VerdictNotes, FirstAndLastSquaresOfTheIterations) {
  RunTrack track;
  for (const double square : {4.0, 2.0, 1.0}) NoteIteration(square, square / 2, track);
  EXPECT_EQ(track.nIterations, 3);
  EXPECT_EQ(track.fStartSquares, 6);
  EXPECT_EQ(track.fLastSquares, 1.5);
}

TEST(VerdictNotes, SizesOfASimilarityAndViewsAroundIt) {
  RunTrack track;
  const std::vector<Position> source = {{1, 0, 0}, {-1, 0, 0}}, target = {{0, 5, 0}, {0, -5, 0}};
  NoteSimilarity(false, source, target, {"a", "b"}, track);
  EXPECT_DOUBLE_EQ(track.fTargetSize, 5);
  EXPECT_DOUBLE_EQ(track.fTransformScale, 5);
  EXPECT_EQ(track.vPairNames.size(), 2u);
  const std::vector<EopRecord> images = {Image(0, 0, 100), Image(10, 0, 100)};
  NoteViews(false, images, track);
  EXPECT_FALSE(track.bTransformApplied);
  NoteViews(true, images, track);
  EXPECT_TRUE(track.bTransformApplied);
  EXPECT_DOUBLE_EQ(track.Before.Up[2], 1);
  EXPECT_DOUBLE_EQ(track.After.fAgreement, 1);
}

TEST(VerdictNotes, AnglesOfThePosFileThatFitAsRadiansOnly) {
  for (const bool radians : {false, true}) {
    BlockParts block;
    for (const double degrees : {10.0, 100.0, 200.0}) {
      block.Images.pEop.push_back(Image(0, 0, 0, 0, 0, degrees * kDegree));
      // The reader took what stands in the file for degrees.
      block.Images.pPos.push_back(Image(0, 0, 0, 0, 0, degrees * kDegree * (radians ? kDegree : 1)));
    }
    block.Images.nImageNum = 3;
    RunTrack track;
    NoteStart("block.pos", true, block.Images, block.Cameras, track);
    EXPECT_EQ(track.bPosAnglesInRadians, radians);
    EXPECT_EQ(track.szPosFile, "block.pos");
    RunTrack without;
    NoteStart("block.pos", false, block.Images, block.Cameras, without);
    EXPECT_FALSE(without.bPosAnglesInRadians);
  }
}

TEST(VerdictNotes, MissOfTheControlAndHeightsOfTheCentres) {
  BlockParts block;
  TestBlock made = ExactStrip();
  made.AddPoint(1, 64, 0, 0, {0, 1}, 0, 0, 102.4);  // a tenth of the height below image 0, nearly
  made.AddPoint(2, 128, 0, 0, {0, 1}, 0, 0, 500);   // no control
  made.AddPoint(1, 300, 64, 0, {2}, 0, 0, 500);     // can't be intersected
  made.AddPoint(0, 128, 64, 0, {0, 1, 2});
  made.MoveInto(block);
  const GroundPoints ground{block.Points.pObjectPoints, block.Points.pImagePoints};
  RunTrack track;
  NoteStartMiss(ground, block.Images, block.Cameras, track);
  EXPECT_NEAR(track.fStartMiss, 102.4 / std::hypot(64, 1024), 1e-6);

  block.Residuals.fRmsResidualX = block.Residuals.fRmsResidualY = 1;
  JudgePoints(
      PassInputOf(block.Settings, block.Images, block.Cameras, block.Residuals), 1,
      [&](const auto& take) {
        take(std::span(block.Points.pObjectPoints).last(1), block.Points.pImagePoints);
      },
      track);
  EXPECT_EQ(track.Pass->Sums().nUsed, 3);
  NoteHeights(block.Images, block.Cameras, 0.001, block.Frame, track);
  EXPECT_EQ(track.nCentres, 3);
  EXPECT_EQ(track.nCentresBelow, 0);
  EXPECT_NEAR(track.fGsd, 1024 * 0.001, 1e-6);
}

TEST(VerdictNotes, LimitsOfAPassTakeTheUnitOfTheStatistics) {
  BlockParts block;
  block.Residuals.fRmsResidualX = 0.002;
  block.Residuals.fRmsResidualY = 1e-9;
  const PointPassInput working = PassInputOf(block.Settings, block.Images, block.Cameras, block.Residuals),
                       file =
                           PassInputOf(block.Settings, block.Images, block.Cameras, block.Residuals, 0.001);
  EXPECT_DOUBLE_EQ(working.fGrossX, 0.01);
  EXPECT_DOUBLE_EQ(working.fGrossY, 5 * 0.25 * 0.001);
  EXPECT_DOUBLE_EQ(file.fGrossX, 10);
}

TEST(VerdictNotes, AFailedSimilarityIsDoubtful) {
  RunTrack track;
  track.bTransformApplied = true;
  const std::vector<Position> round = {{0, 0, 0}, {9, 0, 0}, {0, 9, 0}, {9, 9, 0}};
  NoteSimilarity(false, round, round, {"a", "b", "c", "d"}, track);
  const Verdict verdict = JudgeFailure(track, "points.txt");
  EXPECT_EQ(verdict.Result, Grade::Doubtful);
  ASSERT_EQ(verdict.vReasons.size(), 1u);
  EXPECT_EQ(verdict.vReasons[0].szWhat,
            "no similarity transform leads from the block to the 4 control points of points.txt");
}

}  // namespace
}  // namespace orvo::test
