#include "rigorous/PosModel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "rigorous/RigorousBuilders.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

using test::Random;

/// An image with all that its observations depend on.
struct Flight {
  ImagePose Pose;
  Vector3 LeverArm;
  Matrix3 Boresight;
  StripDrift GpsDrift, ImuDrift;
  double Time;
};

Flight AnyFlight(Random& random) {
  Flight flight;
  flight.Pose = {{random.Within(4e5, 5e5), random.Within(5e6, 6e6), random.Within(100, 3000)},
                 random.Rotation()};
  flight.LeverArm = random.Vector(2);
  flight.Boresight = random.Rotation();
  flight.GpsDrift = {random.Vector(3), random.Vector(0.1)};
  flight.ImuDrift = {random.Vector(0.2), random.Vector(0.01)};
  flight.Time = random.Within(-30, 30);
  return flight;
}

Vector3 PlantedGps(const Flight& f) {
  return f.Pose.Centre + Multiply(f.Pose.R, f.LeverArm) + f.GpsDrift.Constant + f.Time * f.GpsDrift.Linear;
}

Matrix3 PlantedImu(const Flight& f) {
  const Vector3 drift = f.ImuDrift.Constant + f.Time * f.ImuDrift.Linear;
  return Multiply(Multiply(f.Pose.R, f.Boresight), RotationOfVector(drift));
}

GpsRows Gps(const Flight& f, const Vector3& observed) {
  GpsRows rows{};
  EXPECT_TRUE(LinearizeGps(f.Pose, f.LeverArm, f.GpsDrift, f.Time, observed, rows));
  return rows;
}

ImuRows Imu(const Flight& f, const Matrix3& observed) {
  ImuRows rows{};
  EXPECT_TRUE(LinearizeImu(f.Pose, f.Boresight, f.ImuDrift, f.Time, observed, rows));
  return rows;
}

/// Every column of `rows` against the differences of `residual` by what `shift` does with a vector.
template <class Residual, class Shift>
void ExpectDerivative(const char* what, const Flight& flight, const Matrix3& rows, double h,
                      Residual residual, Shift shift) {
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(testing::Message() << what << " " << k);
    const auto at = [&](double step) {
      Flight shifted = flight;
      shift(shifted, step * test::Unit(k));
      return residual(shifted);
    };
    test::ExpectSameColumn(test::ColumnOf(rows, k), test::NumericDerivative(at, h));
  }
}

TEST(PosModel, PlantedObservationsHaveNoResidual) {
  Random random(1);
  for (int i = 0; i < 1000; ++i) {
    const Flight flight = AnyFlight(random);
    EXPECT_LE(Norm(Gps(flight, PlantedGps(flight)).Residual), 4e-9);
    EXPECT_LE(Norm(Imu(flight, PlantedImu(flight)).Residual), 4e-15);
  }
}

TEST(PosModel, ErrorsOfObservationsAreTheResiduals) {
  Random random(2);
  for (int i = 0; i < 1000; ++i) {
    const Flight flight = AnyFlight(random);
    const Vector3 error = random.Vector(3);
    EXPECT_LE(test::Distance(Gps(flight, PlantedGps(flight) + error).Residual, error), 4e-9);
    const Matrix3 turned = Multiply(PlantedImu(flight), RotationOfVector(error));
    EXPECT_LE(test::Distance(Imu(flight, turned).Residual, error), 4e-14);
  }
}

TEST(PosModel, HasKnownValues) {
  // The image looks down and is turned by a quarter: the camera's x is the object's y.
  const ImagePose pose = {{10, 20, 30}, RotationOfAngles({0, 0, test::kPi / 2})};
  GpsRows gps;
  ASSERT_TRUE(LinearizeGps(pose, {1, 0, 0.5}, {{0.1, 0.2, 0.3}, {1, 2, 3}}, 2, {12.1, 25.5, 37}, gps));
  EXPECT_LE(test::Distance(gps.Residual, {0, 0.3, 0.2}), 4e-15);
  EXPECT_LE(test::Distance(gps.ByLeverArm, {0, 1, 0, -1, 0, 0, 0, 0, -1}), 1e-15);
  ImuRows imu;
  ASSERT_TRUE(LinearizeImu(pose, kIdentity3, {{0, 0, 0.1}, {0, 0, 0.01}}, 2,
                           RotationOfAngles({0, 0, test::kPi / 2 + 0.15}), imu));
  EXPECT_LE(test::Distance(imu.Residual, {0, 0, 0.03}), 4e-15);
}

TEST(PosModel, GpsDerivativesAgreeWithDifferences) {
  Random random(3);
  for (int i = 0; i < 200; ++i) {
    Flight flight = AnyFlight(random);
    flight.Pose.Centre = 1e-3 * flight.Pose.Centre;
    const Vector3 observed = PlantedGps(flight) + random.Direction();
    const GpsRows rows = Gps(flight, observed);
    const auto residual = [&](const Flight& f) { return Gps(f, observed).Residual; };
    const auto check = [&](const char* what, const Matrix3& derivative, double h, auto shift) {
      ExpectDerivative(what, flight, derivative, h, residual, shift);
    };
    check("centre", rows.ByCentre, 1, [](Flight& f, const Vector3& s) { f.Pose.Centre = f.Pose.Centre + s; });
    // Below a lever arm of a millimetre the differences are those of the rounded centre.
    if (Norm(flight.LeverArm) > 1e-3) {
      check("rotation", rows.ByRotation, 1e-2,
            [](Flight& f, const Vector3& s) { f.Pose.R = RotationUpdatedBy(f.Pose.R, s); });
    }
    check("lever arm", rows.ByLeverArm, 1, [](Flight& f, const Vector3& s) { f.LeverArm = f.LeverArm + s; });
    check("constant", rows.ByConstant, 1,
          [](Flight& f, const Vector3& s) { f.GpsDrift.Constant = f.GpsDrift.Constant + s; });
    check("linear", rows.ByLinear, 1,
          [](Flight& f, const Vector3& s) { f.GpsDrift.Linear = f.GpsDrift.Linear + s; });
  }
}

TEST(PosModel, ImuDerivativesAgreeWithDifferences) {
  Random random(4);
  for (const double error : {0.0, 1e-9, 1e-3, 0.1, 1.0, 2.5}) {
    for (int i = 0; i < 50; ++i) {
      SCOPED_TRACE(testing::Message() << "error " << error << " case " << i);
      const Flight flight = AnyFlight(random);
      const Matrix3 observed = Multiply(PlantedImu(flight), RotationOfVector(error * random.Direction()));
      const ImuRows rows = Imu(flight, observed);
      const auto residual = [&](const Flight& f) { return Imu(f, observed).Residual; };
      const auto check = [&](const char* what, const Matrix3& derivative, double h, auto shift) {
        ExpectDerivative(what, flight, derivative, h, residual, shift);
      };
      check("rotation", rows.ByRotation, 1e-3,
            [](Flight& f, const Vector3& s) { f.Pose.R = RotationUpdatedBy(f.Pose.R, s); });
      check("boresight", rows.ByBoresight, 1e-3,
            [](Flight& f, const Vector3& s) { f.Boresight = RotationUpdatedBy(f.Boresight, s); });
      check("constant", rows.ByConstant, 1e-3,
            [](Flight& f, const Vector3& s) { f.ImuDrift.Constant = f.ImuDrift.Constant + s; });
      check("linear", rows.ByLinear, 1e-4,
            [](Flight& f, const Vector3& s) { f.ImuDrift.Linear = f.ImuDrift.Linear + s; });
    }
  }
}

TEST(PosModel, WhatIsNoNumberIsToldAndNotWritten) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  const ImagePose pose = {{1, 2, 3}, kIdentity3};
  GpsRows gps{};
  EXPECT_FALSE(LinearizeGps(pose, {0, nan, 0}, {}, 1, {1, 2, 3}, gps));
  EXPECT_FALSE(LinearizeGps(pose, {}, {}, inf, {1, 2, 3}, gps));
  EXPECT_FALSE(LinearizeGps(pose, {}, {}, 1, {1, inf, 3}, gps));
  EXPECT_FALSE(LinearizeGps({{1, nan, 3}, kIdentity3}, {}, {}, 1, {1, 2, 3}, gps));
  EXPECT_EQ(gps.ByLeverArm, Matrix3{});
  ImuRows imu{};
  Matrix3 broken = kIdentity3;
  broken[4] = nan;
  EXPECT_FALSE(LinearizeImu(pose, broken, {}, 1, kIdentity3, imu));
  EXPECT_FALSE(LinearizeImu(pose, kIdentity3, {}, 1, broken, imu));
  EXPECT_FALSE(LinearizeImu(pose, kIdentity3, {{0, inf, 0}, {}}, 1, kIdentity3, imu));
  EXPECT_FALSE(LinearizeImu({{1, 2, 3}, broken}, kIdentity3, {}, 1, kIdentity3, imu));
  EXPECT_EQ(imu.ByRotation, Matrix3{});
}

}  // namespace
}  // namespace orvo::rigorous
