// Similarities between wrong pairs.
#include "geometry/RobustSimilarity.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "geometry/PositionSpread.h"

namespace orvo::test {
namespace {

using Points = std::vector<Position3>;

/// Eight points in an area of 400 by 300, heights from 200 to 230.
const Points kGround = {{110, 520, 200}, {510, 540, 215}, {130, 810, 230}, {490, 800, 205},
                        {300, 640, 222}, {220, 700, 211}, {400, 590, 228}, {350, 760, 201}};

FrameTransform Transform(double scale, double kappa, const Position3& shift) {
  return {scale, {std::cos(kappa), -std::sin(kappa), 0, std::sin(kappa), std::cos(kappa), 0, 0, 0, 1}, shift};
}

void ExpectNear(const Points& a, const Points& b, double tolerance) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) {
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(a[i][k], b[i][k], tolerance) << i << ' ' << k;
  }
}

TEST(RobustSimilarity, FitsComeBack) {
  FrameTransform transform = Transform(1.7, 2.5, {1000, -2000, 30});
  const Points target = Apply(transform, kGround);
  for (const auto& fit : {FitSimilarity(kGround, target), FitLevelSimilarity(kGround, target)}) {
    ASSERT_TRUE(fit);
    EXPECT_NEAR(fit->fScale, 1.7, 1e-12);
    ExpectNear(Apply(*fit, kGround), target, 1e-9);
  }
  // Tilted by 36.87 degrees about X.
  transform.R = {1, 0, 0, 0, 0.8, -0.6, 0, 0.6, 0.8};
  const auto tilted = FitSimilarity(kGround, Apply(transform, kGround));
  ASSERT_TRUE(tilted);
  for (size_t i = 0; i < 9; ++i) EXPECT_NEAR(tilted->R[i], transform.R[i], 1e-12);
}

TEST(RobustSimilarity, TooLittleToFit) {
  const Points line = {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}}, one(4, Position3{1, 2, 3});
  EXPECT_FALSE(FitSimilarity(line, line));
  EXPECT_TRUE(FitLevelSimilarity(line, line));
  EXPECT_FALSE(FitLevelSimilarity(one, line));
  EXPECT_FALSE(FitLevelSimilarity(line, one));
  EXPECT_FALSE(FitRobustSimilarity(one, one));
  EXPECT_FALSE(FitRobustSimilarity(std::span(line).first(3), std::span(line).first(3)));
}

TEST(RobustSimilarity, RobustAgainstThreeOfEight) {
  const FrameTransform transform = Transform(0.01, -1, {5, 6, 7});
  Points target = Apply(transform, kGround);
  const Points right = target;
  target[0][0] += 3;
  target[4][1] -= 2;
  target[6][2] += 4;
  const auto fit = FitRobustSimilarity(kGround, target);
  ASSERT_TRUE(fit);
  EXPECT_FALSE(fit->bLevel);
  ExpectNear(Apply(fit->Transform, kGround), right, 1e-6);
}

TEST(RobustSimilarity, PointsOnALineGiveALevelOne) {
  const Points line = {{0, 0, 50}, {100, 20, 50}, {200, 40, 50}, {300, 60, 50}, {400, 80, 50}};
  const auto fit = FitRobustSimilarity(line, Apply(Transform(2, 1, {1, 2, 3}), line));
  ASSERT_TRUE(fit);
  EXPECT_TRUE(fit->bLevel);
  EXPECT_NEAR(fit->Transform.fScale, 2, 1e-9);
}

TEST(PositionSpread, IsThatAcrossByThatAlong) {
  const Points line = {{0, 0, 0}, {100, 0, 0}, {50, 0, 0}, {20, 0, 0}};
  EXPECT_DOUBLE_EQ(SpreadAcross(line), 0);
  const Points cross = {{-2, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, -1, 0}};
  EXPECT_NEAR(SpreadAcross(cross), 0.5, 1e-12);
}

}  // namespace
}  // namespace orvo::test
