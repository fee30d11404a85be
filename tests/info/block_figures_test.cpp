// What is told of blocks whose figures are known.
#include "info/BlockFigures.h"

#include <gtest/gtest.h>

#include "check/SurveyReading.h"
#include "exchange/VerticalBlock.h"
#include "gpu/GpuSections.h"
#include "info/MemoryFigures.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

using namespace info;

void ExpectAll(const Spread& spread, int64_t count, double value, double tolerance) {
  EXPECT_EQ(spread.nNum, count);
  for (const double figure : {spread.dLeast, spread.dMedian, spread.dMost})
    EXPECT_NEAR(figure, value, tolerance);
}

/// 3 strips of 6 images, 600 by 800 on the ground from 1000 above it, 200 and 480 apart.
TEST(BlockFigures, OfAVerticalBlockByHand) {
  const BlockFigures figures = FiguresOf(MakeVerticalBlock());
  EXPECT_EQ(figures.nImages, 18);
  ExpectAll(figures.Height, 18, 1000, 1e-6);
  ExpectAll(figures.Gsd, 18, 0.2, 1e-9);
  ExpectAll(figures.Tilt, 18, 0, 1e-9);
  EXPECT_NEAR(figures.dRelief, 0, 1e-6);
  EXPECT_EQ(figures.Centres.Least, (std::array<double, 3>{0, 0, 1050}));
  EXPECT_EQ(figures.Centres.Most, (std::array<double, 3>{1000, 960, 1050}));
  ASSERT_TRUE(figures.Ground);
  EXPECT_NEAR(figures.Ground->Least[2], 50, 1e-6);
  EXPECT_NEAR(figures.Ground->Most[2], 50, 1e-6);

  EXPECT_EQ(figures.Strips.Source, StripSource::Course);
  ASSERT_EQ(figures.Strips.Strips.size(), 3u);
  EXPECT_EQ(figures.Strips.Strips[1], (Strip{6, 7, 8, 9, 10, 11}));
  ExpectAll(figures.OfStrips.Images, 3, 6, 0);
  ExpectAll(figures.OfStrips.Base, 15, 200, 1e-9);
  ExpectAll(figures.OfStrips.Forward, 15, 100.0 * 400 / 600, 1e-6);
  // Each image of the outer strips has one strip beside it, of the middle one two.
  ExpectAll(figures.OfStrips.Side, 24, 40, 1e-6);

  ASSERT_EQ(figures.Cameras.size(), 1u);
  EXPECT_EQ(figures.Cameras[0].nImages, 18);
  ExpectAll(figures.Cameras[0].Gsd, 18, 0.2, 1e-9);
}

TEST(BlockFigures, CountsRaysAndPoints) {
  SurveyBlock block = MakeVerticalBlock({.nStrips = 1, .nImages = 4});
  block.Tie = {};
  // Seen from image 0 alone, from 0 and 1, from 0 to 2, and from 1 to 3.
  for (const double X : {-250.0, 0.0 - 50, 200.0, 400.0}) AddPoint(block, block.Tie, "P", {X, 0, 50}, 0);
  AddPoint(block, block.Control, "C", {200, 10, 50}, 1);
  AddPoint(block, block.Control, "D", {200, 20, 50}, 2);
  block.Pos = {{"IMG_100", {}, 0, 0, 0, 1, 1}, {"IMG_999", {}, 0, 0, 0, 1, 2}};
  const BlockFigures figures = FiguresOf(block);
  EXPECT_EQ(figures.Tie.nPoints, 4);
  EXPECT_EQ(figures.Tie.nSolved, 3);
  EXPECT_EQ(figures.Tie.nMeasurements, 9);
  EXPECT_DOUBLE_EQ(figures.Tie.dMeanRays, 2.25);
  EXPECT_EQ(figures.Tie.PointsOfRays, (std::map<int32_t, int64_t>{{1, 1}, {2, 1}, {3, 2}}));
  EXPECT_EQ(figures.Control.nPoints, 1);
  EXPECT_EQ(figures.Check.nPoints, 1);
  EXPECT_EQ(figures.nPosLines, 2);
  EXPECT_EQ(figures.nPosOfImages, 1);
  // Two rays: 200 / 1000, three: 400 / 1000.
  EXPECT_NEAR(figures.BaseToHeight.dLeast, 0.2, 1e-6);
  EXPECT_NEAR(figures.BaseToHeight.dMost, 0.4, 1e-6);
  EXPECT_EQ(figures.MeasurementsOfImage.dMost, 3);
  EXPECT_EQ(figures.nImagesWithoutPoint, 0);
}

TEST(BlockFigures, StripsOfThePosFileComeFirst) {
  SurveyBlock block = MakeVerticalBlock();
  for (size_t k = 0; k < block.Images.size(); ++k) {
    SurveyPos line;
    line.szName = block.Images[k].szName;
    line.nStrip = k < 9 ? 4 : 2;
    block.Pos.push_back(line);
  }
  const StripList list = StripsOf(block);
  EXPECT_EQ(list.Source, StripSource::Pos);
  ASSERT_EQ(list.Strips.size(), 2u);
  EXPECT_EQ(list.Strips[0].size(), 9u);
  EXPECT_EQ(list.Strips[0][0], 9);
}

TEST(BlockFigures, AnOrderWithoutCourseHasNoStrips) {
  SurveyBlock block = MakeVerticalBlock({.nStrips = 5, .nImages = 5});
  std::vector<SurveyImage> mixed;
  for (const size_t k :
       {12, 3, 20, 8, 17, 0, 24, 5, 14, 9, 21, 1, 16, 11, 4, 23, 7, 18, 2, 13, 22, 6, 15, 10, 19}) {
    mixed.push_back(block.Images[k]);
  }
  block.Images = mixed;
  EXPECT_EQ(StripsOf(block).Source, StripSource::None);
  const BlockFigures figures = FiguresOf(block);
  EXPECT_EQ(figures.OfStrips.Forward.nNum, 0);
}

/// The same block upside down: nothing is above the ground, and depths stay.
TEST(BlockFigures, KnowNoHeightsWhereZIsNotUp) {
  SurveyBlock block = MakeVerticalBlock();
  for (SurveyImage& image : block.Images) {
    image.R = {1, 0, 0, 0, -1, 0, 0, 0, -1};
    image.S = {image.S[0], -image.S[1], -image.S[2]};
  }
  const BlockFigures figures = FiguresOf(block);
  EXPECT_FALSE(figures.bLooksDown);
  EXPECT_EQ(figures.Height.nNum, 0);
  EXPECT_EQ(figures.OfStrips.Forward.nNum, 0);
  ExpectAll(figures.Gsd, 18, 0.2, 1e-9);
  ExpectAll(figures.Tilt, 18, 180, 1e-9);
}

TEST(BlockFigures, OfAnEmptyBlockAreZero) {
  const BlockFigures figures = FiguresOf({});
  EXPECT_EQ(figures.nImages, 0);
  EXPECT_EQ(figures.Tie.nPoints, 0);
  EXPECT_FALSE(figures.Ground);
  EXPECT_EQ(figures.Height.nNum, 0);
  const MemoryFigures memory = MemoryOf({}, 1);
  EXPECT_EQ(memory.nBlocks, 0);
  EXPECT_EQ(memory.nRecordBytes, 0);
}

struct Flight {
  const char* szName;
  double dForward, dSide, dHeading, dTilt;
};

class GeneratedBlocks : public ::testing::TestWithParam<Flight> {};

/// Overlaps of generated blocks come out as they were ordered; tilts and relief move them a little.
TEST_P(GeneratedBlocks, OverlapAsPlanned) {
  const Flight& flight = GetParam();
  SyntheticOptions options;
  options.nStrips = 4;
  options.nImagesPerStrip = 10;
  options.fForwardOverlap = flight.dForward;
  options.fSideOverlap = flight.dSide;
  options.fHeading = flight.dHeading;
  options.fTilt = flight.dTilt;
  options.fRelief = flight.dTilt * 20;
  const Block block(options);
  SurveyFiles files;
  files.szProject = block.Paths().szText;
  SurveyBlock survey;
  Diagnosis diagnosis;
  ASSERT_TRUE(ReadSurvey(files, survey, diagnosis));
  const BlockFigures figures = FiguresOf(survey);
  EXPECT_EQ(figures.Strips.Source, StripSource::Course);
  EXPECT_EQ(figures.Strips.Strips.size(), 4u);
  EXPECT_NEAR(figures.OfStrips.Forward.dMedian, flight.dForward, 2);
  EXPECT_NEAR(figures.OfStrips.Side.dMedian, flight.dSide, 2);
  EXPECT_NEAR(figures.Height.dMedian, options.fFlyingHeight, 0.01 * options.fFlyingHeight);
  EXPECT_NEAR(figures.Gsd.dMedian, options.fFlyingHeight / options.fFocal, 0.01 * 0.1);
}

INSTANTIATE_TEST_SUITE_P(Flights, GeneratedBlocks,
                         ::testing::Values(Flight{"Crewed", 60, 30, 20, 0}, Flight{"Dense", 80, 60, 135, 0},
                                           Flight{"Tilted", 70, 40, 90, 1.5}),
                         [](const auto& flight) { return flight.param.szName; });

/// Two images and a camera, one point in both: all blocks of three rows.
TEST(MemoryFigures, OfASmallBlockByHand) {
  SurveyBlock block = MakeVerticalBlock({.nStrips = 1, .nImages = 2});
  block.Tie = {};
  AddPoint(block, block.Tie, "A", {100, 0, 50}, 0);
  const MemoryFigures one = MemoryOf(block, 1);
  EXPECT_EQ(one.Layout, LayoutEopIop);
  EXPECT_EQ(one.Sizes.nUnknowns, 17);
  EXPECT_EQ(one.Sizes.nBlockRows, 3);
  EXPECT_EQ(one.nBlocks, 6);
  // 3 blocks of 36 and 2 of 30 in 40 and 32 doubles, the camera's 25 in 32.
  EXPECT_EQ(one.nStoreBytes, 8 * (3 * 40 + 2 * 32 + 32));
  EXPECT_EQ(one.nRecordBytes, 68 + 2 * 28 + 2 * 60 + 40 + 2 * 24);
  EXPECT_EQ(one.dDenseBytes, static_cast<double>(one.nRecordBytes + one.nStoreBytes + 8 * 17 * 17));
  EXPECT_EQ(MemoryOf(block, 4).dDenseBytes - one.dDenseBytes, static_cast<double>(3 * one.nStoreBytes));
  // 21 + 21 + 15 elements of the preconditioner, and the tails of one block of 256 image points.
  EXPECT_EQ(one.dDeviceBytes - gpu::PointDeviceBytes(1, 2), 524 * 17 + 260 * 57 + 24 * 2 + 20);
}

TEST(MemoryFigures, ACameraForEachImageIsMerged) {
  SurveyBlock block = MakeVerticalBlock({.nStrips = 1, .nImages = 2});
  block.Cameras.push_back(block.Cameras[0]);
  block.Images[1].nCamera = 1;
  const MemoryFigures memory = MemoryOf(block, 1);
  EXPECT_EQ(memory.Layout, LayoutMergedEopIop);
  EXPECT_EQ(memory.Sizes.nUnknowns, 22);
  EXPECT_EQ(memory.nBlocks, 3);
}

}  // namespace
}  // namespace orvo::test
