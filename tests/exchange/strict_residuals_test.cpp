#include "exchange/StrictResiduals.h"

#include <gtest/gtest.h>

namespace orvo::exchange {
namespace {

/// Two vertical images from 1000 m, 200 m apart, f 5000.
SurveyBlock TwoImages() {
  SurveyBlock block;
  block.Cameras.push_back({0, 4000, 3000, 5000, 0, 0, 0, 0, 0});
  for (int i = 0; i < 2; ++i) {
    SurveyImage image;
    image.nCamera = 0;
    image.R = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    image.S = {200.0 * i, 0, 1000};
    block.Images.push_back(image);
  }
  return block;
}

TEST(StrictResiduals, AreMeasurementMinusProjection) {
  const SurveyBlock block = TwoImages();
  const ImageVector v = StrictResidual(block.Images[0], 5000, {500.5, -0.25}, {100, 0, 0});
  EXPECT_NEAR(v.x, 0.5, 1e-10);
  EXPECT_NEAR(v.y, -0.25, 1e-10);
}

TEST(StrictResiduals, CorrectionIsThatOfTheManual) {
  const SurveyCamera camera{0, 4000, 3000, 5000, 10, -20, 1e-9, 1e-16, 0};
  const double u = 990, v = 520, r2 = u * u + v * v, D = 1e-9 * r2 + 1e-16 * r2 * r2;
  const ImageVector corrected = CorrectedMeasurement(camera, 1000, 500);
  EXPECT_DOUBLE_EQ(corrected.x, u - u * D);
  EXPECT_DOUBLE_EQ(corrected.y, v - v * D);
}

TEST(StrictResiduals, MeansAndRootsByHand) {
  ResidualSums sums;
  sums.Add(std::vector<ImageVector>{{3, 4}, {0, 0}});
  sums.Add({});
  sums.Add(std::vector<ImageVector>{{0, 1}});
  EXPECT_EQ(sums.nNum, 3);
  EXPECT_DOUBLE_EQ(sums.RmsX(), std::sqrt(9.0 / 3));
  EXPECT_DOUBLE_EQ(sums.RmsY(), std::sqrt(17.0 / 3));
  EXPECT_DOUBLE_EQ(sums.MeanNorm(), (5.0 + 0 + 1) / 3);
}

TEST(StrictResiduals, IntersectionIsTheLeastSumOfSquares) {
  const SurveyBlock block = TwoImages();
  const std::vector<SurveyMeasurement> exact = {{0, 500, 0}, {1, -500, 0}};
  std::array<double, 3> P = {7, 7, 7};
  ASSERT_TRUE(IntersectStrictly(block, exact, P));
  EXPECT_NEAR(P[0], 100, 1e-9);
  EXPECT_NEAR(P[1], 0, 1e-9);
  EXPECT_NEAR(P[2], 0, 1e-9);

  const std::vector<SurveyMeasurement> skew = {{0, 500, 3}, {1, -500, -1}};
  ASSERT_TRUE(IntersectStrictly(block, skew, P));
  // Both rays see the same y.
  EXPECT_NEAR(StrictResidual(block.Images[0], 5000, {500, 3}, P).y, 2, 1e-9);
  EXPECT_NEAR(StrictResidual(block.Images[1], 5000, {-500, -1}, P).y, -2, 1e-9);
}

TEST(StrictResiduals, NoPointOfOneRayOrOfParallelOnes) {
  const SurveyBlock block = TwoImages();
  std::array<double, 3> P = {7, 8, 9};
  EXPECT_FALSE(IntersectStrictly(block, std::vector<SurveyMeasurement>{{0, 1, 2}}, P));
  EXPECT_FALSE(IntersectStrictly(block, std::vector<SurveyMeasurement>{{0, 1, 2}, {1, 1, 2}}, P));
  EXPECT_FALSE(IntersectStrictly(block, std::vector<SurveyMeasurement>{{0, 1, 2}, {2, 5, 2}}, P));
  EXPECT_EQ(P, (std::array<double, 3>{7, 8, 9}));
}

}  // namespace
}  // namespace orvo::exchange
