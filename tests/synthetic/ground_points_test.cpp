#include <gtest/gtest.h>

#include <cmath>

#include "support/Block.h"

namespace orvo::test {
namespace {

SyntheticOptions WithPoints(int32_t control, int32_t check) {
  SyntheticOptions options;
  options.nControlPoints = control;
  options.nCheckPoints = check;
  return options;
}

TEST(GroundPoints, ControlPointsThenCheckPointsInTheFile) {
  const Block block(WithPoints(5, 7));
  const std::vector<FilePoint> gcp = ReadGcpFile(block.Paths().szGcp);
  ASSERT_EQ(gcp.size(), 12u);
  for (size_t i = 0; i < gcp.size(); ++i) {
    EXPECT_EQ(gcp[i].nType, i < 5 ? 1 : 2);
    EXPECT_EQ(gcp[i].szName[0], i < 5 ? 'G' : 'C');
    EXPECT_GE(gcp[i].pMeasurements.size(), 2u);
    const SyntheticGroundPoint& truth = block.Truth().pGroundPoints[i];
    EXPECT_EQ(gcp[i].szName, truth.szName);
    EXPECT_NEAR(gcp[i].Position[0], truth.X, 1e-6) << "surveyed without error";
    EXPECT_NEAR(gcp[i].Position[1], truth.Y, 1e-6);
    EXPECT_NEAR(gcp[i].Position[2], truth.Z, 1e-6);
    ASSERT_EQ(gcp[i].pMeasurements.size(), truth.pMeasurements.size());
    for (size_t j = 0; j < truth.pMeasurements.size(); ++j) {
      EXPECT_EQ(gcp[i].pMeasurements[j].nImage, truth.pMeasurements[j].nImage);
      EXPECT_NEAR(gcp[i].pMeasurements[j].x, truth.pMeasurements[j].x, 5.1e-6);
      EXPECT_NEAR(gcp[i].pMeasurements[j].y, truth.pMeasurements[j].y, 5.1e-6);
    }
  }
}

TEST(GroundPoints, TheFirstFourStandInTheCorners) {
  SyntheticOptions options = WithPoints(4, 0);
  options.fHeading = 0;
  const Block block(options);
  double lowX = 1e9, highX = -1e9, lowY = 1e9, highY = -1e9;
  for (const SyntheticImage& image : block.Truth().pImages) {
    lowX = std::min(lowX, image.X), highX = std::max(highX, image.X);
    lowY = std::min(lowY, image.Y), highY = std::max(highY, image.Y);
  }
  int quadrants = 0;
  for (const SyntheticGroundPoint& point : block.Truth().pGroundPoints) {
    EXPECT_GT(std::fabs(point.X - (lowX + highX) / 2), 0.4 * (highX - lowX));
    EXPECT_GT(std::fabs(point.Y - (lowY + highY) / 2), 0.4 * (highY - lowY));
    quadrants |= 1 << ((point.X > 1000 ? 1 : 0) + (point.Y > 2000 ? 2 : 0));
  }
  EXPECT_EQ(quadrants, 15);
}

TEST(GroundPoints, AreWellSpread) {
  const Block block(WithPoints(9, 16));
  const auto& points = block.Truth().pGroundPoints;
  ASSERT_EQ(points.size(), 25u);
  for (size_t i = 0; i < points.size(); ++i) {
    for (size_t j = 0; j < i; ++j) {
      EXPECT_GT(std::hypot(points[i].X - points[j].X, points[i].Y - points[j].Y), 200) << i << " " << j;
    }
  }
}

TEST(GroundPoints, SurveyNoiseIsInTheFileOnly) {
  SyntheticOptions options = WithPoints(100, 100);
  options.fGroundPointNoise = 0.3;
  const Block block(options);
  const std::vector<FilePoint> gcp = ReadGcpFile(block.Paths().szGcp);
  ASSERT_EQ(gcp.size(), 200u);
  double squares = 0;
  for (size_t i = 0; i < gcp.size(); ++i) {
    const SyntheticGroundPoint& truth = block.Truth().pGroundPoints[i];
    squares += std::pow(gcp[i].Position[0] - truth.X, 2) + std::pow(gcp[i].Position[1] - truth.Y, 2) +
               std::pow(gcp[i].Position[2] - truth.Z, 2);
  }
  EXPECT_NEAR(std::sqrt(squares / 600), 0.3, 5 * 0.3 / std::sqrt(1200.0));
}

TEST(GroundPoints, AreNoTiePoints) {
  const Block block(WithPoints(9, 9));
  for (const FilePoint& tie : ReadProjectFile(block.Paths().szText).pPoints) {
    EXPECT_EQ(tie.nType, 0);
    EXPECT_EQ(tie.szName[0], 'T');
  }
}

TEST(GroundPoints, NoneGiveAFileWithACountOfZero) {
  const Block block(WithPoints(0, 0));
  EXPECT_EQ(ReadFile(block.Paths().szGcp), "0\n");
}

TEST(GroundPoints, ASingleStripHasThem) {
  SyntheticOptions options = WithPoints(6, 4);
  options.nStrips = 1;
  const Block block(options);
  EXPECT_EQ(block.Truth().pGroundPoints.size(), 10u);
}

}  // namespace
}  // namespace orvo::test
