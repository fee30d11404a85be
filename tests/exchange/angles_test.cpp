// Angle systems: known values, there and back, and the places where two angles turn about one axis.
#include "exchange/Angles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace orvo::exchange {
namespace {

constexpr double kDegrees = 180 / std::numbers::pi;

double Difference(const Rotation& a, const Rotation& b) {
  double most = 0;
  for (size_t i = 0; i < 9; ++i) most = std::max(most, std::abs(a[i] - b[i]));
  return most;
}

/// Degrees between the two.
double AngleBetween(const Rotation& a, const Rotation& b) {
  const std::array<double, 3> r = AngleAxisOf(ProductOf(TransposeOf(a), b));
  return std::hypot(r[0], r[1], r[2]) * kDegrees;
}

TEST(Angles, KnownValues) {
  const struct {
    AngleSystem system;
    std::array<double, 3> degrees;
    double phi, omega, kappa;
    double tolerance;
  } rows[] = {
      {AngleSystem::Orvo, {2, 3, 45}, 3, 2, 45, 1e-12},
      {AngleSystem::Standard, {2, 3, 45}, -3.001825, 1.997258, 45.104714, 1e-6},
      {AngleSystem::Body, {30, 5, -3}, 5.10321426, 2.82053073, -30.25673051, 1e-8},
      {AngleSystem::Body, {77, 0, 0}, 0, 0, -77, 1e-12},
      {AngleSystem::Gimbal, {77, -90, 0}, 0, 0, -77, 1e-9},
  };
  for (const auto& row : rows) {
    const OrvoAngles found = OrvoAnglesOf(RotationOfDegrees(row.system, row.degrees));
    EXPECT_NEAR(found.dPhi * kDegrees, row.phi, row.tolerance) << NameOf(row.system);
    EXPECT_NEAR(found.dOmega * kDegrees, row.omega, row.tolerance) << NameOf(row.system);
    EXPECT_NEAR(found.dKappa * kDegrees, row.kappa, row.tolerance) << NameOf(row.system);
  }
}

TEST(Angles, StandardAnglesTakenForOurOwnAreSixDegreesOff) {
  const Rotation standard = RotationOfDegrees(AngleSystem::Standard, {2, 3, 45}),
                 own = RotationOfDegrees(AngleSystem::Orvo, {2, 3, 45});
  EXPECT_NEAR(AngleBetween(standard, own), 6, 0.01);
}

/// Closed forms of our angles from the matrix, which the conversion from the standard ones rests on.
TEST(Angles, OurAnglesOfAMatrix) {
  const Rotation R = RotationOfDegrees(AngleSystem::Standard, {-11, 17, 130});
  const OrvoAngles found = OrvoAnglesOf(R);
  EXPECT_NEAR(found.dPhi, std::atan2(-R[2], R[8]), 5e-15);
  EXPECT_NEAR(found.dOmega, std::asin(-R[5]), 5e-15);
  EXPECT_NEAR(found.dKappa, std::atan2(R[3], R[4]), 5e-15);
}

TEST(Angles, ThereAndBack) {
  const std::array<double, 3> degrees[] = {{0, 0, 0},     {1, -2, 170},   {-30, 20, -179.5}, {179, 45, 90},
                                           {12, 89, -60}, {12, -89.9, 7}, {-100, 3, 91}};
  for (const AngleSystem system :
       {AngleSystem::Orvo, AngleSystem::Standard, AngleSystem::Body, AngleSystem::Gimbal}) {
    for (const auto& row : degrees) {
      const Rotation R = RotationOfDegrees(system, row);
      EXPECT_LT(Difference(ProductOf(R, TransposeOf(R)), {1, 0, 0, 0, 1, 0, 0, 0, 1}), 1e-15);
      EXPECT_LT(Difference(RotationOfDegrees(system, DegreesOf(system, R)), R), 1e-11)
          << NameOf(system) << ' ' << row[0] << ' ' << row[1] << ' ' << row[2];
    }
  }
}

TEST(Angles, LockedAngles) {
  const struct {
    AngleSystem system;
    std::array<double, 3> degrees;
  } rows[] = {{AngleSystem::Standard, {20, 90, 33}},
              {AngleSystem::Standard, {20, -90, 33}},
              {AngleSystem::Body, {20, 90, 33}},
              {AngleSystem::Gimbal, {20, -90, 33}}};
  for (const auto& row : rows) {
    const Rotation R = RotationOfDegrees(row.system, row.degrees);
    EXPECT_LT(Difference(RotationOfDegrees(row.system, DegreesOf(row.system, R)), R), 1e-7);
  }
  const auto nadir = DegreesOf(AngleSystem::Gimbal, RotationOfDegrees(AngleSystem::Gimbal, {123, -90, 0}));
  EXPECT_NEAR(nadir[0] + nadir[2] * 0, 123, 1e-6);
}

TEST(Angles, QuaternionsAndAngleAxes) {
  const Rotation rows[] = {{1, 0, 0, 0, 1, 0, 0, 0, 1},
                           {1, 0, 0, 0, -1, 0, 0, 0, -1},
                           {-1, 0, 0, 0, 1, 0, 0, 0, -1},
                           {-1, 0, 0, 0, -1, 0, 0, 0, 1},
                           RotationOfDegrees(AngleSystem::Standard, {-11, 17, 130}),
                           RotationOfDegrees(AngleSystem::Standard, {1e-9, 0, 1e-9})};
  for (const Rotation& R : rows) {
    Rotation found{};
    ASSERT_TRUE(RotationOfQuaternion(QuaternionOf(R), found));
    EXPECT_LT(Difference(found, R), 2e-15);
    EXPECT_LT(Difference(*RotationOfAngleAxis(AngleAxisOf(R)), R), 2e-15);
    EXPECT_GE(QuaternionOf(R)[0], 0);
  }
  EXPECT_EQ(RotationOfAngleAxis({0, 0, 0}), rows[0]);
  // A quarter turn about z takes x to y.
  EXPECT_LT(Difference(*RotationOfAngleAxis({0, 0, std::numbers::pi / 2}), {0, -1, 0, 1, 0, 0, 0, 0, 1}),
            1e-15);
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  for (const Vector3& none : {Vector3{1e300, 0, 0}, Vector3{0, 2e6, 0}, Vector3{0, 0, kNone}})
    EXPECT_FALSE(RotationOfAngleAxis(none)) << none[0];
}

TEST(Angles, NamesOfSystems) {
  for (const AngleSystem system :
       {AngleSystem::Orvo, AngleSystem::Standard, AngleSystem::Body, AngleSystem::Gimbal})
    EXPECT_EQ(AngleSystemOf(NameOf(system)), system);
  EXPECT_EQ(AngleSystemOf("opk"), std::nullopt);
}

}  // namespace
}  // namespace orvo::exchange
