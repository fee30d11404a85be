// Figures of control and check points, and of POS data.
#include <gtest/gtest.h>

#include "RunParts.h"

namespace orvo::report {
namespace {

using test::FigureBlock;
using test::kScale;
using test::RunParts;

/// Control and check points of a block, measured without error, coordinates those given.
GroundPoints GroundOf(const FigureBlock& block) { return {block.Points, block.Rays}; }

GroundFigures GroundFiguresOf(const FigureBlock& block) {
  const RunParts parts(block);
  RunFigures figures;
  FillFromEnd(parts.Sources(), GroundOf(block), figures);
  return figures.Ground;
}

FigureBlock ControlBlock() {
  FigureBlock block(4, 3);
  block.AddPoint({10, 10, 0}, 1, 0, "GCP a");
  block.AddPoint({50, 10, 2}, 1, 0, "GCP b");
  block.AddPoint({30, 40, -1}, 2, 0, "check 1");
  block.AddPoint({20, 20, 0}, 2, 0, "check 2");
  block.AddPoint({40, 30, 1}, 3, 0, "check 3");
  return block;
}

TEST(GroundFigures, OfPointsThatFit) {
  const FigureBlock block = ControlBlock();
  const GroundFigures ground = GroundFiguresOf(block);
  ASSERT_EQ(ground.vPoints.size(), 5U);
  for (size_t i = 0; i < 5; ++i) {
    const GroundPointFigure& point = ground.vPoints[i];
    EXPECT_EQ(point.bControl, i < 2);
    EXPECT_TRUE(point.bIntersected);
    EXPECT_EQ(point.nRays, block.Points[i].nImagePointNum);
    EXPECT_NEAR(point.Difference.X, 0, 1e-5);
    EXPECT_NEAR(point.Difference.Z, 0, 1e-4);
    EXPECT_LT(point.fWorst, 1e-3);
  }
  EXPECT_EQ(ground.vPoints[0].szName, "GCP a");
  EXPECT_EQ(ground.Control.nNum, 2);
  EXPECT_EQ(ground.Check.nNum, 3);
}

TEST(GroundFigures, AShiftedControlPointShows) {
  FigureBlock block = ControlBlock();
  block.Points[1].X += 0.5;
  block.Points[1].Z -= 0.25;
  const GroundFigures ground = GroundFiguresOf(block);
  EXPECT_NEAR(ground.vPoints[1].Given.X, 50.5, 1e-12);
  EXPECT_NEAR(ground.vPoints[1].Difference.X, -0.5, 1e-4);
  EXPECT_NEAR(ground.vPoints[1].Difference.Y, 0, 1e-4);
  EXPECT_NEAR(ground.vPoints[1].Difference.Z, 0.25, 1e-4);
  // 0.5 on the ground is 25 pixels, less a little where the camera is higher.
  EXPECT_GT(ground.vPoints[1].fRmse, 20);
  EXPECT_GE(ground.vPoints[1].fWorst, ground.vPoints[1].fRmse);
  EXPECT_NEAR(ground.vPoints[0].Difference.X, 0, 1e-5);
  EXPECT_LT(ground.vPoints[0].fRmse, 1e-3);
  // Mean of 0 and -0.5, and what is spread about it.
  EXPECT_NEAR(ground.Control.Mean.X, -0.25, 1e-4);
  EXPECT_NEAR(ground.Control.Deviation.X, 0.5 / std::sqrt(2.0), 1e-4);
  EXPECT_NEAR(ground.Control.Rmse.X, 0.5 / std::sqrt(2.0), 1e-4);
  EXPECT_NEAR(ground.Control.Rmse.Z, 0.25 / std::sqrt(2.0), 1e-4);
  EXPECT_NEAR(ground.Control.fHorizontal, 0.5 / std::sqrt(2.0), 1e-4);
  EXPECT_NEAR(ground.Check.Rmse.X, 0, 1e-4);
}

TEST(GroundFigures, CheckPointsAreHeldAgainstTheirOwnIntersection) {
  FigureBlock block = ControlBlock();
  block.Points[2].Y += 3;  // given wrongly: the measurements still agree
  const ObjectPointRecord& wrong = block.Points[3];
  ImagePointRecord& ray = block.Rays[static_cast<size_t>(wrong.nFirstImagePoint + 2)];
  ray.x += static_cast<float>(30 * kScale);
  const GroundFigures ground = GroundFiguresOf(block);
  EXPECT_NEAR(ground.vPoints[2].Difference.Y, -3, 1e-4);
  EXPECT_LT(ground.vPoints[2].fRmse, 1e-3);
  EXPECT_GT(ground.vPoints[3].fWorst, 10);
  EXPECT_LT(ground.vPoints[3].fWorst, 30);
  EXPECT_EQ(ground.vPoints[3].szWorstImage, "IMG" + std::to_string(ray.nImage));
}

TEST(GroundFigures, PointsOfOneRayHaveNoDifference) {
  FigureBlock block = ControlBlock();
  block.Points[0].nImagePointNum = 1;
  block.Points[1].nImagePointNum = 0;
  block.Points[0].X += 0.1;
  const GroundFigures ground = GroundFiguresOf(block);
  EXPECT_FALSE(ground.vPoints[0].bIntersected);
  EXPECT_EQ(ground.vPoints[0].nRays, 1);
  EXPECT_GT(ground.vPoints[0].fWorst, 4);
  EXPECT_EQ(ground.vPoints[0].Difference.X, 0);
  EXPECT_FALSE(ground.vPoints[1].bIntersected);
  EXPECT_EQ(ground.vPoints[1].fRmse, 0);
  EXPECT_EQ(ground.vPoints[1].szWorstImage, "");
  EXPECT_EQ(ground.Control.nNum, 0);
  EXPECT_TRUE(std::isnan(ground.Control.Rmse.X));
}

TEST(GroundFigures, ListedOnesAreThoseOfTheRun) {
  const FigureBlock block = ControlBlock();
  RunParts parts(block);
  for (int i = 0; i < 6; ++i) {
    parts.Residuals.dControlResidual[i] = i + 1;
    parts.Residuals.dCheckResidual[i] = -i;
  }
  parts.Points.nControlPointNum = 2;
  RunFigures figures;
  FillFromEnd(parts.Sources(), GroundOf(block), figures);
  EXPECT_EQ(figures.Ground.ListedControl.nNum, 2);
  EXPECT_EQ(figures.Ground.ListedControl.Mean.Y, 2);
  EXPECT_EQ(figures.Ground.ListedControl.Rmse.Z, 6);
  EXPECT_EQ(figures.Ground.ListedControl.fHorizontal, std::hypot(4, 5));
  EXPECT_EQ(figures.Ground.ListedCheck.Mean.Z, -2);
}

TEST(GroundFigures, OfNothingAreNotKnown) {
  FigureBlock block(4, 2);
  RunParts parts(block);
  parts.Points.nControlPointNum = 2;
  parts.Points.nCheckPointNum = 8;
  parts.Residuals.dControlResidual[3] = 0.5;
  RunFigures run;
  FillFromEnd(parts.Sources(), {}, run);
  const GroundFigures& figures = run.Ground;
  for (const GroundStatistics* statistics : {&figures.Control, &figures.Check, &figures.ListedCheck}) {
    EXPECT_EQ(statistics->nNum, 0);
    for (const Triple& triple : {statistics->Mean, statistics->Deviation, statistics->Rmse})
      EXPECT_TRUE(std::isnan(triple.X) && std::isnan(triple.Y) && std::isnan(triple.Z));
    EXPECT_TRUE(std::isnan(statistics->fHorizontal));
  }
  EXPECT_EQ(figures.ListedControl.nNum, 2);
  EXPECT_EQ(figures.ListedControl.Rmse.X, 0.5);
  EXPECT_EQ(figures.ListedControl.Mean.Y, 0);
  EXPECT_TRUE(std::isnan(figures.ListedControl.Deviation.X));
}

TEST(PosFigures, NoneWithoutPos) {
  FigureBlock block(4, 2);
  RunParts parts(block);
  EXPECT_FALSE(parts.FromPass(block).Pos.has_value());
  parts.AddPos(4);
  EXPECT_TRUE(parts.FromPass(block).Pos.has_value());
  parts.Settings.Direct_Intersection = true;
  EXPECT_FALSE(parts.FromPass(block).Pos.has_value());
}

TEST(PosFigures, AWrongOffsetOfAStripShows) {
  FigureBlock block(4, 3);
  RunParts parts(block);
  parts.AddPos(4);
  // What no drift takes off: differences of the second strip.
  for (size_t i = 4; i < 8; ++i) parts.Images.pPos[i].X += 0.75;
  PosFigures pos = *parts.FromPass(block).Pos;
  ASSERT_EQ(pos.vStrips.size(), 3U);
  ASSERT_EQ(pos.vImages.size(), 12U);
  EXPECT_NEAR(pos.vStrips[1].Rmse.X, 0.75, 1e-12);
  EXPECT_NEAR(pos.vStrips[0].Rmse.X, 0, 1e-12);
  EXPECT_NEAR(pos.Rmse.X, 0.75 * std::sqrt(1.0 / 3), 1e-12);
  EXPECT_EQ(pos.vImages[5].nImage, 5);
  EXPECT_EQ(pos.vImages[5].nStrip, 1);
  EXPECT_EQ(pos.vImages[5].fTime, 2);
  EXPECT_NEAR(pos.vImages[5].Difference.X, 0.75, 1e-12);
  EXPECT_EQ(pos.vStrips[1].Constant.X, 0);
  // The same taken by the constant of the strip: six parameters each, constants first.
  parts.PosParams[6] = 0.75;
  parts.PosParams[6 + 3 + 2] = 0.01;
  pos = *parts.FromPass(block).Pos;
  EXPECT_NEAR(pos.vStrips[1].Constant.X, 0.75, 1e-12);
  EXPECT_NEAR(pos.vStrips[1].Rate.Z, 0.01, 1e-12);
  EXPECT_NEAR(pos.vStrips[1].Rmse.X, 0, 1e-12);
  EXPECT_NEAR(pos.vImages[7].Difference.Z, -0.06, 1e-12);
  EXPECT_EQ(pos.vStrips[2].nImages, 4);
}

TEST(PosFigures, LinearDriftAlone) {
  FigureBlock block(4, 1);
  RunParts parts(block);
  parts.Limits.Correct_Const_Error = false;
  parts.AddPos(4);
  parts.PosParams = {0.5, 0, -0.25};
  const PosFigures pos = *parts.FromPass(block).Pos;
  EXPECT_EQ(pos.vStrips[0].Constant.X, 0);
  EXPECT_EQ(pos.vStrips[0].Rate.X, 0.5);
  EXPECT_EQ(pos.vStrips[0].Rate.Z, -0.25);
  EXPECT_NEAR(pos.vImages[3].Difference.X, -3, 1e-12);
}

TEST(PosFigures, UnobservedImagesAndParametersThatDoNotFitAreLeftOut) {
  FigureBlock block(4, 2);
  RunParts parts(block);
  parts.AddPos(4);
  parts.Images.pPos[2].nStatus = kPosNotObserved;
  parts.Images.pImageGroup[6] = -1;
  parts.Images.pPos[7].Y = std::nan("");
  EXPECT_EQ(parts.FromPass(block).Pos->vImages.size(), 5U);
  parts.PosParams.resize(6);
  EXPECT_EQ(parts.FromPass(block).Pos->vImages.size(), 3U);
  EXPECT_EQ(parts.FromPass(block).Pos->vStrips[1].nImages, 0);
  parts.Images.pPos.clear();
  EXPECT_TRUE(parts.FromPass(block).Pos->vImages.empty());
}

TEST(PosFigures, LengthsAndWeightsOfNormalisedCoordinates) {
  FigureBlock block(6, 4);
  block.AddTiePoints(3, 0.5);
  RunParts parts(block);
  parts.Limits.GPS_WeightXY = 1e-8;
  parts.Limits.GPS_WeightZ = 4e-8;
  parts.Frame.bNormalized = true;
  parts.Frame.dCoorScale = 4;
  parts.Frame.dCoorMean[0] = 50;
  for (EopRecord& image : parts.Images.pEop) {
    image.X = (image.X - 50) * 4;
    image.Y *= 4;
    image.Z *= 4;
  }
  parts.AddPos(6);
  parts.Images.pPos[9].Z += 4 * 0.5;
  parts.PosParams[1] = 4 * 0.125;
  const RunFigures figures = parts.FromPass(block);
  const PosFigures& pos = *figures.Pos;
  EXPECT_NEAR(pos.vImages[9].Difference.Z, 0.5, 1e-9);
  EXPECT_NEAR(pos.vStrips[0].Constant.Y, 0.125, 1e-12);
  // Half a pixel is 0.0005; over the root of the weight 1e-4 that is 5, or 1.25 in the files.
  const Pair rmse = figures.Residuals.StrictKept.Rmse;
  const double sigma = std::sqrt((rmse.x * rmse.x + rmse.y * rmse.y) / 2);
  EXPECT_NEAR(sigma, 0.45, 0.08);
  EXPECT_NEAR(pos.fSigmaXY, sigma * 2.5, 1e-9);
  EXPECT_NEAR(pos.fSigmaZ, sigma * 1.25, 1e-9);
  // Everything else comes back into the frame of the files, too.
  EXPECT_NEAR(figures.vImages[7].Centre.X, block.Eop[7].X, 1e-9);
  EXPECT_EQ(figures.vImages[7].nStrip, 1);
  ASSERT_TRUE(figures.vImages[7].bHasFootprint);
  EXPECT_NEAR(figures.vImages[7].Footprint[0].x, block.Eop[7].X - 40, 10);
  EXPECT_NEAR(figures.Points.Low.X, -35, 12);
}

}  // namespace
}  // namespace orvo::report
