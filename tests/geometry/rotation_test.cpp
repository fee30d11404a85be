#include "geometry/camera/Rotation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "geometry/GeometryBuilders.h"
#include "geometry/OrvoMatrix.h"
#include "geometry/camera/CameraModel.h"

namespace orvo {
namespace {

constexpr double kPi = std::numbers::pi;

struct Angles {
  double phi, omega, kappa;
};

/// Hand-picked: axes, quarter and half turns, tiny and huge angles.
const std::vector<Angles> kAwkwardAngles = {
    {0, 0, 0},         {kPi / 2, 0, 0}, {0, 0, kPi / 2},   {0, 0, -kPi / 2},       {0, 0, kPi},
    {kPi, 0, kPi},     {0, 1.5707, 0},  {0, -1.5707, 0},   {1e-12, 1e-12, -1e-12}, {-kPi / 2, 0.3, kPi},
    {3.1, -1.4, -3.1}, {0, 0, 1e-300},  {kPi, 1e-9, -kPi}, {-3, 1.5, 3},           {0.7, 0, kPi - 1e-15},
};

COrvoMatrix RotationOf(const Angles& angles) {
  COrvoMatrix R;
  R.Resize(3, 3);
  ComputeRotationMatrix(angles.phi, angles.omega, angles.kappa, R.data);
  return R;
}

COrvoMatrix Matrix3(const std::vector<double>& elements) {
  COrvoMatrix matrix;
  matrix.Resize(3, 3);
  std::copy(elements.begin(), elements.end(), matrix.data);
  return matrix;
}

double Distance(const COrvoMatrix& a, const COrvoMatrix& b) {
  return std::fabs(MaxMagnitude(COrvoMatrix::Subtract(a, b).data, a.rows, a.cols));
}

void ExpectRotation(const Angles& angles) {
  const COrvoMatrix R = RotationOf(angles);
  COrvoMatrix identity;
  identity.SetIdentity(3, 3);
  EXPECT_LT(Distance(COrvoMatrix::Multiply(R, R.Transposed()), identity), 1e-15);
  const double* r = R.data;
  EXPECT_NEAR(r[0] * (r[4] * r[8] - r[5] * r[7]) - r[1] * (r[3] * r[8] - r[5] * r[6]) +
                  r[2] * (r[3] * r[7] - r[4] * r[6]),
              1.0, 1e-15);
}

/// The same turn, however the angles are written.
void ExpectSameAngle(double a, double b, double tolerance) {
  EXPECT_NEAR(std::remainder(a - b, 2 * kPi), 0.0, tolerance);
}

TEST(Rotation, OfZeroAnglesIsTheIdentity) {
  double R[9];
  EXPECT_EQ(ComputeRotationMatrix(0, 0, 0, R), 1);
  const double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(R[i], identity[i]);
}

TEST(Rotation, IsTheProductAboutYThenXThenZ) {
  const Angles angles = {0.3, -0.5, 1.1};
  const double p = angles.phi, o = angles.omega, k = angles.kappa;
  const COrvoMatrix aboutY = Matrix3({std::cos(p), 0, -std::sin(p), 0, 1, 0, std::sin(p), 0, std::cos(p)});
  const COrvoMatrix aboutX = Matrix3({1, 0, 0, 0, std::cos(o), -std::sin(o), 0, std::sin(o), std::cos(o)});
  const COrvoMatrix aboutZ = Matrix3({std::cos(k), -std::sin(k), 0, std::sin(k), std::cos(k), 0, 0, 0, 1});
  const COrvoMatrix product = COrvoMatrix::Multiply(COrvoMatrix::Multiply(aboutY, aboutX), aboutZ);
  EXPECT_LT(Distance(RotationOf(angles), product), 1e-15);
}

TEST(Rotation, IsOrthonormal) {
  for (const Angles& angles : kAwkwardAngles) {
    SCOPED_TRACE(testing::Message() << angles.phi << " " << angles.omega << " " << angles.kappa);
    ExpectRotation(angles);
  }
}

TEST(Rotation, AnglesComeBackThroughTheMatrix) {
  std::vector<Angles> table = kAwkwardAngles;
  std::mt19937 random(3);
  std::uniform_real_distribution<double> turn(-kPi, kPi), tilt(-1.55, 1.55);
  for (int i = 0; i < 2000; ++i) table.push_back({turn(random), tilt(random), turn(random)});
  for (const Angles& angles : table) {
    SCOPED_TRACE(testing::Message() << angles.phi << " " << angles.omega << " " << angles.kappa);
    ExpectRotation(angles);
    Angles back;
    ComputeAngles(RotationOf(angles).data, back.phi, back.omega, back.kappa);
    // asin and atan2 of a vanishing cosine lose digits towards 90 degrees.
    const double tolerance = 1e-15 / std::cos(angles.omega) + 1e-15;
    ExpectSameAngle(back.phi, angles.phi, tolerance);
    EXPECT_NEAR(back.omega, angles.omega, tolerance);
    ExpectSameAngle(back.kappa, angles.kappa, tolerance);
  }
}

TEST(Rotation, MatrixComesBackThroughTheAnglesBeyondNinetyDegrees) {
  for (const double omega : {1.7, -1.7, 3.0, -3.0, kPi / 2, -kPi / 2}) {
    const Angles angles = {0.4, omega, -0.9};
    Angles back;
    ComputeAngles(RotationOf(angles).data, back.phi, back.omega, back.kappa);
    EXPECT_LE(std::fabs(back.omega), kPi / 2);
    EXPECT_LT(Distance(RotationOf(back), RotationOf(angles)), 1e-7) << "omega " << omega;
  }
}

TEST(Rotation, AnglesOfAnExactRightAngleAreFinite) {
  const double R[9] = {1, 0, 0, 0, 0, -1, 0, 1, 0};
  double phi = -7, omega = -7, kappa = -7;
  ComputeAngles(R, phi, omega, kappa);
  EXPECT_EQ(omega, kPi / 2);
  EXPECT_TRUE(std::isfinite(phi));
  EXPECT_TRUE(std::isfinite(kappa));
}

TEST(Rotation, AnglesOfASineJustAboveOneAreFinite) {
  const double R[9] = {1, 0, 0, 0, 0, -1.0000000000000002, 0, 1, 0};
  double phi = -7, omega = -7, kappa = -7;
  ComputeAngles(R, phi, omega, kappa);
  EXPECT_EQ(omega, kPi / 2);
}

TEST(CameraModel, LooksAlongMinusZ) {
  // A point at (Xs + a, Ys + b, Zs - h) is seen at (f a / h, f b / h).
  const EopRecord eop = test::Image(100, 200, 1000);
  const IopRecord iop = test::Camera(0.15);
  const ImageCoordinates seen = test::Measure(eop, iop, 100 + 40, 200 - 30, 1000 - 500);
  EXPECT_DOUBLE_EQ(seen.x, 0.15 * 40 / 500);
  EXPECT_DOUBLE_EQ(seen.y, 0.15 * -30 / 500);
  double R[9], b[3];
  ComputeRotationMatrix(0, 0, 0, R);
  const double dP[3] = {40, -30, -500};
  ToCameraFrame(R, dP, b);
  EXPECT_EQ(b[2], -500);
}

TEST(CameraModel, ToCameraFrameTakesTheTranspose) {
  const Angles angles = {0.3, -0.5, 1.1};
  COrvoMatrix dP;
  dP.Resize(3, 1);
  dP.data[0] = 3, dP.data[1] = -5, dP.data[2] = 7;
  const COrvoMatrix expected = COrvoMatrix::Multiply(RotationOf(angles).Transposed(), dP);
  double b[3];
  ToCameraFrame(RotationOf(angles).data, dP.data, b);
  for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(b[i], expected.data[i]);
}

TEST(CameraModel, DistortionIsSubtractedFromTheMeasurement) {
  const IopRecord iop = test::Camera(1, 0.5, 0.25, 0.01, 0.002);
  const double u = 3 - 0.5, v = -2 - 0.25, r2 = u * u + v * v, D = 0.01 * r2 + 0.002 * r2 * r2;
  const ImageCoordinates corrected = CorrectMeasurement(iop, 3, -2);
  EXPECT_DOUBLE_EQ(corrected.x, u - u * D);
  EXPECT_DOUBLE_EQ(corrected.y, v - v * D);
}

TEST(CameraModel, WithoutDistortionTheOffsetIsExact) {
  const IopRecord iop = test::Camera(1, 0.1, 0.2);
  for (const auto& corrected : {CorrectMeasurement(iop, 0.3, 0.7), CorrectForIntersection(iop, 0.3, 0.7)}) {
    EXPECT_EQ(corrected.x, 0.3 - 0.1);
    EXPECT_EQ(corrected.y, 0.7 - 0.2);
  }
}

TEST(CameraModel, IntersectionTakesTheWrongPrincipalPointInY) {
  const IopRecord iop = test::Camera(1, 0.5, 0.25, 0.01, 0.002);
  const double u = 3 - 0.5, v = -2 - 0.25, r2 = u * u + v * v, D = 0.01 * r2 + 0.002 * r2 * r2;
  const ImageCoordinates corrected = CorrectForIntersection(iop, 3, -2);
  EXPECT_DOUBLE_EQ(corrected.x, u - u * D);
  EXPECT_DOUBLE_EQ(corrected.y, v - (-2 - 0.5) * D);
}

TEST(CameraModel, BothFormsAgreeForEqualPrincipalPointCoordinates) {
  const IopRecord iop = test::Camera(1, 0.25, 0.25, 0.01, 0.002);
  const ImageCoordinates observed = CorrectMeasurement(iop, 3, -2),
                         intersected = CorrectForIntersection(iop, 3, -2);
  EXPECT_EQ(observed.x, intersected.x);
  EXPECT_EQ(observed.y, intersected.y);
}

TEST(CameraModel, ResidualIsComputedPlusCorrected) {
  const double inCamera[3] = {40, -30, -500};
  const ImageCoordinates residual = ComputeImageResidual(0.15, inCamera, {0.012 + 1e-4, -0.009 - 2e-4});
  EXPECT_NEAR(residual.x, 1e-4, 1e-16);
  EXPECT_NEAR(residual.y, -2e-4, 1e-16);
}

}  // namespace
}  // namespace orvo
