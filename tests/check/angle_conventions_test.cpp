// Angles of other programs, by known answers.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "check/block/AngleTrial.h"

namespace orvo::test {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

void ExpectAngles(const Rotation3& R, double omega, double phi, double kappa, double tolerance) {
  const auto angles = PosAngles(R);
  EXPECT_NEAR(angles[0], omega, tolerance);
  EXPECT_NEAR(angles[1], phi, tolerance);
  EXPECT_NEAR(angles[2], kappa, tolerance);
}

TEST(AngleConventions, KnownAnswers) {
  ExpectAngles(OrvoRotation(2 * kDegree, 3 * kDegree, 45 * kDegree), 2, 3, 45, 1e-9);
  ExpectAngles(StandardRotation(2 * kDegree, 3 * kDegree, 45 * kDegree), 1.997258, -3.001825, 45.104714,
               1e-6);
  ExpectAngles(BodyRotation(30 * kDegree, 5 * kDegree, -3 * kDegree), 2.82053073, 5.10321426, -30.25673051,
               1e-8);
  for (const double yaw : {0.0, 30.0, 170.0, -95.0}) {
    ExpectAngles(BodyRotation(yaw * kDegree, 0, 0), 0, 0, -yaw, 1e-9);
    ExpectAngles(GimbalRotation(yaw * kDegree, -90 * kDegree, 0), 0, 0, -yaw, 1e-9);
  }
}

TEST(AngleConventions, StandardAnglesAsTheyStandAreSixDegreesOff) {
  const double a = 2 * kDegree, b = 3 * kDegree, c = 45 * kDegree;
  EXPECT_NEAR(AngleBetween(OrvoRotation(a, b, c), StandardRotation(a, b, c)) / kDegree, 6, 0.01);
}

TEST(AngleConventions, AngleBetweenRotations) {
  const Rotation3 I = OrvoRotation(0, 0, 0);
  for (const double angle : {0.0, 1e-9, 1e-3, 1.0, 3.0, std::numbers::pi})
    EXPECT_NEAR(AngleBetween(OrvoRotation(0, 0, angle), I), angle, 1e-7 * angle + 1e-15) << angle;
}

/// Some turns that differ in everything.
Rotation3 Turn(int i) { return OrvoRotation(0.1 * std::sin(5.0 * i), 0.08 * std::cos(3.0 * i), 0.9 * i); }

std::vector<AnglePair> PairsOf(const Rotation3& frame, double noise) {
  std::vector<AnglePair> pairs;
  for (int i = 0; i < 20; ++i) {
    const Rotation3 noisy = Multiply(Turn(i), OrvoRotation(noise * std::sin(11.0 * i), 0, 0));
    pairs.push_back({noisy, PosAngles(Multiply(frame, Turn(i)))});
  }
  return pairs;
}

TEST(AngleTrial, RightAnglesStayInAnyFrame) {
  const Rotation3 I = OrvoRotation(0, 0, 0), turned = OrvoRotation(0.2, 0.1, 2);
  const auto same = TryAngles(PairsOf(I, 0), I);
  EXPECT_FALSE(same.bWrong);
  EXPECT_NEAR(same.dWritten, 0, 1e-6);
  EXPECT_FALSE(TryAngles(PairsOf(turned, 0), turned).bWrong);
  // Where the frame is not known, it is what the images have in common.
  const auto unknown = TryAngles(PairsOf(turned, 0.01), std::nullopt);
  EXPECT_FALSE(unknown.bWrong);
  EXPECT_LT(unknown.dWritten, 1);
}

TEST(AngleTrial, ReadsRadiansOnlyWhereTheyMayBe) {
  auto pairs = PairsOf(OrvoRotation(0, 0, 0), 0.001);
  for (AnglePair& pair : pairs) {
    for (double& number : pair.Numbers) number *= kDegree;
  }
  const AngleVerdict verdict = TryAngles(pairs, std::nullopt);
  ASSERT_TRUE(verdict.bWrong);
  EXPECT_STREQ(verdict.pBest->szCode, "P004");
  pairs.front().Numbers[2] = 7;
  EXPECT_FALSE(TryAngles(pairs, std::nullopt).bWrong);
}

TEST(AngleTrial, NothingToTry) { EXPECT_FALSE(TryAngles({}, std::nullopt).bWrong); }

}  // namespace
}  // namespace orvo::test
