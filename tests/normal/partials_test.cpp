#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include "geometry/camera/ImagePointPartials.h"
#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

struct Observation {
  ImagePointRecord Measurement;
  ObjectPointRecord Point;
  EopRecord Eop;
  IopRecord Iop;
};

struct Partials {
  double B[12], A[10], C[6], L[2];
  int nResult;
};

Partials Linearize(const Observation& o) {
  Partials p{};
  p.nResult = ComputeImagePointPartials(o.Measurement, o.Point, o.Eop, o.Iop, p.B, p.A, p.C, p.L);
  return p;
}

/// The misclosure alone, written out from the model.
std::array<double, 2> Misclosure(const Observation& o) {
  double R[9];
  ComputeRotationMatrix(o.Eop.fPhi, o.Eop.fOmega, o.Eop.fKappa, R);
  const double d[3] = {o.Point.X - o.Eop.X, o.Point.Y - o.Eop.Y, o.Point.Z - o.Eop.Z};
  const double Xr = R[0] * d[0] + R[3] * d[1] + R[6] * d[2];
  const double Yr = R[1] * d[0] + R[4] * d[1] + R[7] * d[2];
  const double Zr = R[2] * d[0] + R[5] * d[1] + R[8] * d[2];
  const double u = o.Measurement.x - o.Iop.fPrincipalX, v = o.Measurement.y - o.Iop.fPrincipalY;
  const double r2 = u * u + v * v, D = o.Iop.fK1 * r2 + o.Iop.fK2 * r2 * r2;
  return {o.Iop.fFocal * Xr / Zr + u - u * D, o.Iop.fFocal * Yr / Zr + v - v * D};
}

/// A measurement and a point exactly on its ray, so that the misclosure is zero.
Observation OnRay(std::mt19937& random, bool distorted) {
  std::uniform_real_distribution<double> uniform(-1, 1);
  Observation o;
  o.Eop.X = 1000 * uniform(random);
  o.Eop.Y = 1000 * uniform(random);
  o.Eop.Z = 1000 + 200 * uniform(random);
  o.Eop.fPhi = 0.6 * uniform(random);
  o.Eop.fOmega = 0.6 * uniform(random);
  o.Eop.fKappa = 3 * uniform(random);
  o.Iop.fFocal = 5 + uniform(random);
  o.Iop.fPrincipalX = 0.05 * uniform(random);
  o.Iop.fPrincipalY = 0.05 * uniform(random);
  if (distorted) {
    o.Iop.fK1 = 1e-3 * uniform(random);
    o.Iop.fK2 = 1e-4 * uniform(random);
  }
  o.Measurement.x = static_cast<float>(3 * uniform(random));
  o.Measurement.y = static_cast<float>(2 * uniform(random));
  const double u = o.Measurement.x - o.Iop.fPrincipalX, v = o.Measurement.y - o.Iop.fPrincipalY;
  const double r2 = u * u + v * v, D = o.Iop.fK1 * r2 + o.Iop.fK2 * r2 * r2;
  const double depth = 800 + 100 * uniform(random);
  const double camera[3] = {(u - u * D) * depth / o.Iop.fFocal, (v - v * D) * depth / o.Iop.fFocal, -depth};
  double R[9];
  ComputeRotationMatrix(o.Eop.fPhi, o.Eop.fOmega, o.Eop.fKappa, R);
  double* P[3] = {&o.Point.X, &o.Point.Y, &o.Point.Z};
  const double S[3] = {o.Eop.X, o.Eop.Y, o.Eop.Z};
  for (int k = 0; k < 3; ++k) {
    *P[k] = S[k] + R[3 * k] * camera[0] + R[3 * k + 1] * camera[1] + R[3 * k + 2] * camera[2];
  }
  return o;
}

/// Minus the central difference of the misclosure by one value, with a step a millionth of `size`.
template <typename Select>
std::array<double, 2> MinusDifference(const Observation& o, Select select, double size) {
  const double step = 1e-6 * size;
  Observation plus = o, minus = o;
  select(plus) += step;
  select(minus) -= step;
  const auto a = Misclosure(plus), b = Misclosure(minus);
  return {-(a[0] - b[0]) / (2 * step), -(a[1] - b[1]) / (2 * step)};
}

/// One column, its two elements by the larger of them.
void ExpectColumn(const std::array<double, 2>& expected, double x, double y, const char* name) {
  const double scale = std::max(std::fabs(expected[0]), std::fabs(expected[1]));
  EXPECT_NEAR(x, expected[0], 1e-6 * scale) << name;
  EXPECT_NEAR(y, expected[1], 1e-6 * scale) << name;
}

TEST(ImagePointPartials, AreMinusTheDerivativesWhereTheMisclosureIsZero) {
  std::mt19937 random(3);
  for (int k = 0; k < 200; ++k) {
    const bool distorted = k % 2 == 1;
    const Observation o = OnRay(random, distorted);
    const Partials p = Linearize(o);
    ASSERT_EQ(p.nResult, 1);
    EXPECT_NEAR(p.L[0], 0, 1e-11);
    EXPECT_NEAR(p.L[1], 0, 1e-11);
    const auto eop = [&](double EopRecord::*field, double size, int column, const char* name) {
      ExpectColumn(MinusDifference(
                       o, [=](Observation& v) -> double& { return v.Eop.*field; }, size),
                   p.B[column], p.B[6 + column], name);
    };
    eop(&EopRecord::X, 1000, 0, "X");
    eop(&EopRecord::Y, 1000, 1, "Y");
    eop(&EopRecord::Z, 1000, 2, "Z");
    eop(&EopRecord::fPhi, 1, 3, "phi");
    eop(&EopRecord::fOmega, 1, 4, "omega");
    eop(&EopRecord::fKappa, 1, 5, "kappa");
    const auto iop = [&](double IopRecord::*field, double size, int column, const char* name) {
      ExpectColumn(MinusDifference(
                       o, [=](Observation& v) -> double& { return v.Iop.*field; }, size),
                   p.A[column], p.A[5 + column], name);
    };
    iop(&IopRecord::fFocal, 5, 0, "f");
    if (!distorted) {
      // With distortion these columns leave out its derivative by design.
      iop(&IopRecord::fPrincipalX, 1, 1, "x0");
      iop(&IopRecord::fPrincipalY, 1, 2, "y0");
    }
    iop(&IopRecord::fK1, 1, 3, "k1");
    iop(&IopRecord::fK2, 1, 4, "k2");
    const auto point = [&](double ObjectPointRecord::*field, int column, const char* name) {
      ExpectColumn(MinusDifference(
                       o, [=](Observation& v) -> double& { return v.Point.*field; }, 1000),
                   p.C[column], p.C[3 + column], name);
    };
    point(&ObjectPointRecord::X, 0, "point X");
    point(&ObjectPointRecord::Y, 1, "point Y");
    point(&ObjectPointRecord::Z, 2, "point Z");
  }
}

TEST(ImagePointPartials, MisclosureFollowsTheModelOffTheRayToo) {
  std::mt19937 random(4);
  for (int k = 0; k < 100; ++k) {
    Observation o = OnRay(random, true);
    o.Point.X += 5;
    o.Point.Z -= 3;
    const Partials p = Linearize(o);
    const auto expected = Misclosure(o);
    EXPECT_NEAR(p.L[0], expected[0], 1e-12);
    EXPECT_NEAR(p.L[1], expected[1], 1e-12);
  }
}

TEST(ImagePointPartials, ColumnsOfThePrincipalPointLeaveOutTheDistortion) {
  std::mt19937 random(5);
  const Partials p = Linearize(OnRay(random, true));
  EXPECT_EQ(p.A[1], 1);
  EXPECT_EQ(p.A[2], 0);
  EXPECT_EQ(p.A[6], 0);
  EXPECT_EQ(p.A[7], 1);
}

TEST(ImagePointPartials, ObjectPartialsAreMinusThoseOfTheProjectionCentre) {
  std::mt19937 random(6);
  const Partials p = Linearize(OnRay(random, true));
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(p.C[k], -p.B[k]);
    EXPECT_EQ(p.C[3 + k], -p.B[6 + k]);
  }
}

TEST(ImagePointPartials, PointInThePlaneOfTheProjectionCentreIsRefusedWithNothingWritten) {
  Observation o;
  o.Eop.Z = 100;
  o.Iop.fFocal = 5;
  o.Point = {};
  o.Point.X = 7;
  o.Point.Z = 100;
  Partials p{};
  p.B[0] = p.A[0] = p.C[0] = p.L[0] = 42;
  EXPECT_EQ(ComputeImagePointPartials(o.Measurement, o.Point, o.Eop, o.Iop, p.B, p.A, p.C, p.L), 0);
  EXPECT_EQ(p.B[0], 42);
  EXPECT_EQ(p.A[0], 42);
  EXPECT_EQ(p.C[0], 42);
  EXPECT_EQ(p.L[0], 42);
}

TEST(ImagePointPartials, KnownValues) {
  // Identity rotation, f = 2, point 10 below and (5, -5) beside: Xr = 5, Yr = -5, Zr = -10.
  Observation o;
  o.Eop.Z = 10;
  o.Iop.fFocal = 2;
  o.Point.X = 5;
  o.Point.Y = -5;
  o.Measurement.x = 1.5f;
  o.Measurement.y = -0.5f;
  const Partials p = Linearize(o);
  const double B[12] = {-0.2, 0,    -0.15, -(1.5 * 0.75 + 2), 0.5 * 0.75,      -0.5,
                        0,    -0.2, 0.05,  0.5 * 0.75,        -2 - 0.5 * 0.25, -1.5};
  const double A[10] = {0.75, 1, 0, 1.5 * 2.5, 1.5 * 6.25, -0.25, 0, 1, -0.5 * 2.5, -0.5 * 6.25};
  for (int k = 0; k < 12; ++k) EXPECT_NEAR(p.B[k], B[k], 1e-15) << k;
  for (int k = 0; k < 10; ++k) EXPECT_NEAR(p.A[k], A[k], 1e-14) << k;
  EXPECT_NEAR(p.L[0], 0.5, 1e-15);
  EXPECT_NEAR(p.L[1], 0.5, 1e-15);
}

}  // namespace
}  // namespace orvo
