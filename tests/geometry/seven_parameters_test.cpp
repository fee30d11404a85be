// Seven parameters over the parts of a block: what is paired, what is solved, what is moved.
#include "geometry/SevenParameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "geometry/GeometryBuilders.h"

namespace orvo {
namespace {

using test::BlockParts;
using test::TestBlock;

/// Three images over three control points, one check point, and one point that two measurements of one image
/// see; all coordinates of the ground are doubled and shifted by (1000, 2000, 300).
BlockParts& FillBlock(BlockParts& block) {
  TestBlock made = test::ExactStrip();
  made.eop[1].Y = 64;
  const struct {
    int32_t nType;
    double X, Y, Z;
    std::vector<int32_t> Images;
  } points[] = {{1, 64, 32, 0, {0, 1, 2}}, {1, 320, 32, 16, {0, 1}}, {1, 128, 256, 0, {1, 2}},
                {2, 128, 64, 0, {0, 1}},   {1, 64, 64, 0, {0, 0}},   {1, 256, 128, 32, {0, 1, 2}}};
  for (const auto& point : points) {
    ObjectPointRecord& record = made.AddPoint(point.nType, point.X, point.Y, point.Z, point.Images);
    record.X = 2 * record.X + 1000;
    record.Y = 2 * record.Y + 2000;
    record.Z = 2 * record.Z + 300;
    std::strncpy(record.szName, ("P" + std::to_string(made.points.size())).c_str(), sizeof record.szName - 1);
  }
  made.MoveInto(block);
  return block;
}

bool FromGcp(BlockParts& block, PositionPairs& pairs, size_t pointNum) {
  return ComputeSevenParametersFromGcp({std::span(block.Points.pObjectPoints).first(pointNum),
                                        block.Points.pImagePoints, block.Points.nControlPointNum},
                                       block.Images, block.Cameras, block.Frame, pairs, block.Log);
}

void ExpectMoved(const ImageTable& images, const std::vector<EopRecord>& before) {
  for (size_t i = 0; i < before.size(); ++i) {
    EXPECT_NEAR(images.pEop[i].X, 2 * before[i].X + 1000, 1e-3);
    EXPECT_NEAR(images.pEop[i].Y, 2 * before[i].Y + 2000, 1e-3);
    EXPECT_NEAR(images.pEop[i].Z, 2 * before[i].Z + 300, 1e-3);
    EXPECT_NEAR(images.pEop[i].fKappa, before[i].fKappa, 1e-6);
  }
}

TEST(SevenParametersOfParts, ControlPointsThatTwoImagesSeeArePaired) {
  BlockParts block;
  FillBlock(block);
  block.Points.nControlPointNum = 5;
  const std::vector<EopRecord> before = block.Images.pEop;
  PositionPairs pairs;
  EXPECT_TRUE(FromGcp(block, pairs, 6));
  EXPECT_EQ(pairs.vNames, (std::vector<std::string>{"P1", "P2", "P3", "P6"}));
  ASSERT_EQ(pairs.vSource.size(), 4u);
  EXPECT_NEAR(pairs.vSource[1][0], 320, 1e-4);
  EXPECT_EQ(pairs.vTarget[1][0], 1640);
  EXPECT_EQ(block.Console.Text(), "Gcp number:6\nCalculate seven parameters successed!5\n");
  ApplySevenParameters(block.Frame, block.Images);
  ExpectMoved(block.Images, before);
}

TEST(SevenParametersOfParts, TooLittleControlLeavesTheBlock) {
  BlockParts block;
  FillBlock(block);
  const std::vector<EopRecord> before = block.Images.pEop;
  PositionPairs pairs;
  std::fill_n(block.Frame.fSevenParam, SevenParameterNum, 7.0);
  EXPECT_FALSE(FromGcp(block, pairs, 2));
  EXPECT_TRUE(pairs.vSource.empty());
  EXPECT_EQ(block.Frame.fSevenParam[0], 7.0);
  block.Points.pObjectPoints[2].nType = 2;
  EXPECT_FALSE(FromGcp(block, pairs, 3));
  EXPECT_EQ(pairs.vSource.size(), 2u);
  EXPECT_EQ(block.Frame.fSevenParam[0], 0.0);
  EXPECT_EQ(block.Console.Text(),
            "Gcp number less than 3\nGcp number:3\nCalculate seven parameters failed!0\n");
  ApplySevenParameters(block.Frame, block.Images);
  EXPECT_EQ(block.Images.pEop[2].X, before[2].X);
}

TEST(SevenParametersOfParts, ImagesArePairedWithGpsPositionsThatAreNumbers) {
  BlockParts block;
  FillBlock(block);
  block.Images.pEop.push_back(test::Image(100, 700, 900));
  block.Images.pEop.push_back(test::Image(300, 800, 1100));
  block.Images.nImageNum = 5;
  const std::vector<EopRecord> before = block.Images.pEop;
  for (const EopRecord& image : before) {
    block.Images.pPos.push_back(test::Image(2 * image.X + 1000, 2 * image.Y + 2000, 2 * image.Z + 300));
  }
  block.Images.pPos[0] = PosRecord();
  PositionPairs pairs;
  EXPECT_TRUE(ComputeSevenParametersFromGps(block.Images, block.Frame, pairs, block.Log));
  EXPECT_EQ(pairs.vSource.size(), 4u);
  EXPECT_TRUE(pairs.vNames.empty());
  EXPECT_EQ(block.Console.Text(), "");
  ApplySevenParameters(block.Frame, block.Images);
  ExpectMoved(block.Images, before);

  block.Images.pPos[2].Z = std::nan("");
  block.Images.pPos.resize(4);
  std::fill_n(block.Frame.fSevenParam, SevenParameterNum, 7.0);
  EXPECT_FALSE(ComputeSevenParametersFromGps(block.Images, block.Frame, pairs, block.Log));
  EXPECT_EQ(pairs.vSource.size(), 2u);
  EXPECT_EQ(block.Frame.fSevenParam[5], 7.0);
  EXPECT_EQ(block.Console.Text(),
            "Error!=================\nCalculate seven parameters from GPS data failed!0\n");
}

}  // namespace
}  // namespace orvo
