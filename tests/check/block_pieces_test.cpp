#include "check/block/BlockPieces.h"

#include <gtest/gtest.h>

#include "records/SurveyBlock.h"

namespace orvo::test {
namespace {

TEST(BlockPieces, PointOnVeryManyImages) {
  SurveyBlock block;
  block.Cameras.push_back({0, 4000, 3000, 3600});
  for (int i = 0; i < 20000; ++i) {
    SurveyImage image;
    image.nCamera = 0;
    image.R = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    image.S = {1.0 * i, 1, 1};
    block.Images.push_back(image);
    block.Tie.Measurements.push_back({i, 0, 0});
  }
  SurveyPoint point;
  point.nMeasurementNum = 20000;
  block.Tie.Points.push_back(point);
  const BlockPieces pieces = FindPieces(block, std::vector<bool>(20000, true), 3);
  EXPECT_EQ(pieces.Pieces.size(), 20000u);
  EXPECT_EQ(pieces.SharedPoints[777], 1);
}

}  // namespace
}  // namespace orvo::test
