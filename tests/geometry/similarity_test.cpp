// The similarity between two sets of points: solve, degenerate sets, application.
#include "geometry/Similarity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <random>

#include "geometry/OrvoMatrix.h"
#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

using Positions = std::vector<Position>;
using Parameters = std::array<double, SevenParameterNum>;

constexpr double kPi = std::numbers::pi;

struct Truth {
  double fScale = 1, fPhi = 0, fOmega = 0, fKappa = 0;
  Position T = {0, 0, 0};
};

/// scale R p + T
Positions Moved(const Positions& points, const Truth& truth) {
  double R[9];
  ComputeRotationMatrix(truth.fPhi, truth.fOmega, truth.fKappa, R);
  Positions moved;
  for (const Position& p : points) {
    Position to;
    for (size_t i = 0; i < 3; ++i) {
      to[i] = truth.fScale * (R[3 * i] * p[0] + R[3 * i + 1] * p[1] + R[3 * i + 2] * p[2]) + truth.T[i];
    }
    moved.push_back(to);
  }
  return moved;
}

/// `count` points in a box of the given half extents about (5000, -3000, 400).
Positions Box(size_t count, double x, double y, double z, unsigned seed = 1) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(-1, 1);
  Positions points;
  for (size_t i = 0; i < count; ++i)
    points.push_back({5000 + x * unit(random), -3000 + y * unit(random), 400 + z * unit(random)});
  return points;
}

double LargestDistance(const Positions& a, const Positions& b) {
  double largest = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    largest = std::max(largest, std::hypot(a[i][0] - b[i][0], a[i][1] - b[i][1], a[i][2] - b[i][2]));
  }
  return largest;
}

Parameters Start(double kappa) {
  Parameters parameters{};
  parameters[SevenScale] = 1;
  parameters[SevenAngles + 2] = kappa;
  return parameters;
}

double SumOfSquares(const Positions& source, const Positions& target, const Parameters& parameters) {
  Positions moved(source.size());
  TransformPoints(source, parameters.data(), moved);
  double sum = 0;
  for (size_t i = 0; i < moved.size(); ++i) {
    for (size_t axis = 0; axis < 3; ++axis) sum += std::pow(moved[i][axis] - target[i][axis], 2);
  }
  return sum;
}

// ---- The slow obvious form ------------------------------------------------------------------------------

struct ReferenceSolve {
  Parameters parameters{};
  int nIterations = 0;
  double fLastCorrection = 0;
};

/// Step by step, with a matrix for everything and the rotation formed anew for each point.
ReferenceSolve SolveSlowly(const Positions& source, const Positions& target, Parameters start) {
  ReferenceSolve solve;
  solve.parameters = start;
  double* p = solve.parameters.data();
  const size_t n = source.size();
  Positions a = source, b = target;
  for (size_t axis = 0; axis < 3; ++axis) {
    for (size_t i = 0; i < n; ++i) {
      p[7 + axis] += source[i][axis] / static_cast<double>(n);
      p[10 + axis] += target[i][axis] / static_cast<double>(n);
    }
  }
  double rmsSource[3] = {}, rmsTarget[3] = {};
  for (size_t axis = 0; axis < 3; ++axis) {
    for (size_t i = 0; i < n; ++i) {
      a[i][axis] -= p[7 + axis];
      b[i][axis] -= p[10 + axis];
      rmsSource[axis] += a[i][axis] * a[i][axis];
      rmsTarget[axis] += b[i][axis] * b[i][axis];
    }
    rmsSource[axis] = std::sqrt(rmsSource[axis] / static_cast<double>(n));
    rmsTarget[axis] = std::sqrt(rmsTarget[axis] / static_cast<double>(n));
  }
  p[13] = std::hypot(rmsSource[0], rmsSource[1], rmsSource[2]);
  p[14] = std::hypot(rmsTarget[0], rmsTarget[1], rmsTarget[2]);
  for (Position& point : a) {
    for (double& value : point) value *= p[14] / p[13];
  }
  while (true) {
    COrvoMatrix N, W;
    N.Resize(7, 7);
    W.Resize(7, 1);
    for (size_t i = 0; i < n; ++i) {
      double R[9];
      ComputeRotationMatrix(p[4], p[5], p[6], R);
      const double u = R[0] * a[i][0] + R[1] * a[i][1] + R[2] * a[i][2];
      const double v = R[3] * a[i][0] + R[4] * a[i][1] + R[5] * a[i][2];
      const double w = R[6] * a[i][0] + R[7] * a[i][1] + R[8] * a[i][2];
      const double U = p[3] * u, V = p[3] * v, W3 = p[3] * w;
      const double sp = std::sin(p[4]), cp = std::cos(p[4]), so = std::sin(p[5]), co = std::cos(p[5]);
      COrvoMatrix A, l;
      A.Resize(3, 7);
      l.Resize(3, 1);
      const double rows[21] = {1, 0, 0, u, -W3, -V * sp,          -V * cp * co - W3 * so,
                               0, 1, 0, v, 0,   U * sp - W3 * cp, U * cp * co + W3 * sp * co,
                               0, 0, 1, w, U,   V * cp,           U * so - V * sp * co};
      std::copy(rows, rows + 21, A.data);
      l.data[0] = b[i][0] - p[0] - U;
      l.data[1] = b[i][1] - p[1] - V;
      l.data[2] = b[i][2] - p[2] - W3;
      N = COrvoMatrix::Add(N, COrvoMatrix::Multiply(A.Transposed(), A));
      W = COrvoMatrix::Add(W, COrvoMatrix::Multiply(A.Transposed(), l));
    }
    const COrvoMatrix x = COrvoMatrix::Multiply(COrvoMatrix::Inverse(N), W);
    if (x.rows != 7) return solve;
    for (size_t j = 0; j < 3; ++j) {
      p[j] += x.data[j];
      p[4 + j] += x.data[4 + j];
    }
    p[3] *= 1 + x.data[3];
    solve.fLastCorrection = std::fabs(MaxMagnitude(x.data, 7, 1));
    if (++solve.nIterations == 20 || solve.fLastCorrection <= 1e-5) return solve;
  }
}

// ---- Solve ----------------------------------------------------------------------------------------------

struct Shape {
  const char* szName;
  double x, y, z;
};
const Shape kShapes[] = {{"block", 900, 700, 500}, {"survey", 2000, 1500, 60}, {"strip", 3000, 20, 15},
                         {"flat", 1000, 1000, 0},  {"tower", 30, 40, 800},     {"tiny", 0.9, 0.8, 0.1}};

void PrintTo(const Shape& shape, std::ostream* out) { *out << shape.szName; }

class AnyKappaAndScale : public ::testing::TestWithParam<Shape> {};

TEST_P(AnyKappaAndScale, IsRecovered) {
  const Shape& shape = GetParam();
  const Positions source = Box(12, shape.x, shape.y, shape.z);
  for (const double scale : {1e-3, 0.04, 1.0, 33.0, 1e3}) {
    for (int degrees = -180; degrees < 180; degrees += 9) {
      const Truth truth{scale, 0.15, -0.1, degrees * kPi / 180, {4e4 * scale, -5e4 * scale, 100 * scale}};
      const Positions target = Moved(source, truth);
      Parameters parameters;
      ASSERT_EQ(SolveSevenParametersFromAnyKappa(source, target, parameters.data()), 1)
          << degrees << ' ' << scale;
      const double q = parameters[SevenTargetSize] / parameters[SevenSourceSize];
      EXPECT_NEAR(parameters[SevenScale] * q / scale, 1, 1e-9) << degrees << ' ' << scale;
      Positions moved(source.size());
      TransformPoints(source, parameters.data(), moved);
      EXPECT_LE(LargestDistance(moved, target), 1e-9 * parameters[SevenTargetSize])
          << degrees << ' ' << scale;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Similarity, AnyKappaAndScale, ::testing::ValuesIn(kShapes),
                         [](const auto& shape) { return shape.param.szName; });

TEST(Similarity, RotationIsRecoveredInFullTilt) {
  const Positions source = Box(20, 800, 900, 700);
  for (const double phi : {-0.35, 0.0, 0.3}) {
    for (const double omega : {-0.3, 0.35}) {
      for (int degrees = 0; degrees < 360; degrees += 20) {
        const Truth truth{2, phi, omega, degrees * kPi / 180, {10, 20, 30}};
        Parameters parameters;
        ASSERT_EQ(SolveSevenParametersFromAnyKappa(source, Moved(source, truth), parameters.data()), 1);
        double found[9], expected[9];
        ComputeRotationMatrix(parameters[4], parameters[5], parameters[6], found);
        ComputeRotationMatrix(phi, omega, truth.fKappa, expected);
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(found[i], expected[i], 1e-9);
      }
    }
  }
}

TEST(Similarity, EqualSetsGiveTheIdentityAtOnce) {
  const Positions points = Box(5, 100, 100, 100);
  Parameters parameters = Start(0);
  ASSERT_EQ(SolveSevenParameters(points, points, parameters.data()), 1);
  EXPECT_EQ(parameters[SevenScale], 1.0);
  for (const int i : {0, 1, 2, 4, 5, 6}) EXPECT_NEAR(parameters[static_cast<size_t>(i)], 0, 1e-12);
  EXPECT_EQ(parameters[SevenSourceSize], parameters[SevenTargetSize]);
  Positions moved(points.size());
  TransformPoints(points, parameters.data(), moved);
  EXPECT_LE(LargestDistance(points, moved), 1e-11);
}

TEST(Similarity, SlotsHoldCentroidsAndSizes) {
  const Positions source = {{1, 0, 0}, {3, 0, 0}, {2, 3, 0}};
  const Positions target = Moved(source, {2, 0, 0, 0, {10, 20, 30}});
  Parameters parameters = Start(0);
  ASSERT_EQ(SolveSevenParameters(source, target, parameters.data()), 1);
  const double size = std::sqrt((1 + 1 + 0) / 3.0 + (1 + 1 + 4) / 3.0);
  const double expected[9] = {2, 1, 0, 14, 22, 30, size, 2 * size, 0};
  for (size_t i = 0; i < 9; ++i) EXPECT_DOUBLE_EQ(parameters[7 + i], expected[i]);
}

TEST(Similarity, EqualsTheSlowForm) {
  std::mt19937 random(3);
  std::normal_distribution<double> noise(0, 5);
  std::uniform_real_distribution<double> unit(-1, 1);
  for (int trial = 0; trial < 100; ++trial) {
    const Positions source = Box(9, 500, 400, 300, static_cast<unsigned>(trial));
    const double kappa = unit(random) * kPi;
    Positions target = Moved(source, {1.5, 0.2 * unit(random), 0.2 * unit(random), kappa, {7, 8, 9}});
    for (Position& p : target) {
      for (double& value : p) value += noise(random);
    }
    const ReferenceSolve slow = SolveSlowly(source, target, Start(kappa + 0.3));
    Parameters parameters = Start(kappa + 0.3);
    ASSERT_EQ(SolveSevenParameters(source, target, parameters.data()), 1);
    for (size_t i = 0; i < SevenParameterNum; ++i) {
      EXPECT_NEAR(parameters[i], slow.parameters[i], 1e-10 * std::max(1.0, std::fabs(slow.parameters[i])));
    }
  }
}

TEST(Similarity, NoisySetsEndAtTheLeastSumOfSquares) {
  std::mt19937 random(11);
  std::normal_distribution<double> noise(0, 20);
  const Positions source = Box(30, 500, 400, 100);
  Positions target = Moved(source, {3, 0.1, 0.05, 2.5, {1000, 2000, 300}});
  for (Position& p : target) {
    for (double& value : p) value += noise(random);
  }
  Parameters best;
  ASSERT_EQ(SolveSevenParametersFromAnyKappa(source, target, best.data()), 1);
  const double least = SumOfSquares(source, target, best);
  for (size_t i = 0; i < 7; ++i) {
    const double step = i < 3 ? 0.05 : 2e-5;
    for (const double sign : {-1.0, 1.0}) {
      Parameters aside = best;
      aside[i] += sign * step;
      EXPECT_GT(SumOfSquares(source, target, aside), least) << i;
    }
  }
}

TEST(Similarity, AMirrorImageIsNoSolution) {
  // Seen from the opposite kappa, a flat set fits its mirror image exactly.
  const Positions flat = Box(8, 100, 100, 0);
  const Positions target = Moved(flat, {1, 0, 0, kPi, {0, 0, 0}});
  const ReferenceSolve slow = SolveSlowly(flat, target, Start(0));
  ASSERT_LT(slow.nIterations, 20);
  ASSERT_LT(slow.parameters[SevenScale], 0);
  Parameters parameters = Start(0);
  EXPECT_EQ(SolveSevenParameters(flat, target, parameters.data()), 0);

  ASSERT_EQ(SolveSevenParametersFromAnyKappa(flat, target, parameters.data()), 1);
  EXPECT_NEAR(parameters[SevenScale], 1, 1e-9);
  // A point above the plane stays above it.
  const Position above = {5000, -3000, 500};
  Position moved;
  TransformPoints({&above, 1}, parameters.data(), {&moved, 1});
  EXPECT_NEAR(moved[2], 500, 1e-6);
}

TEST(Similarity, ASolveOfExactly20IterationsHasFailed) {
  // Noise that does not follow the source shrinks the scale, and the steps become the smaller the more there
  // is of it; some amount needs exactly 19 iterations and some exactly 20.
  const Positions source = Box(40, 100, 100, 100, 1), noise = Box(40, 100, 100, 100, 2);
  int count19 = 0, count20 = 0, more = 0;
  for (int percent = 0; percent < 400; ++percent) {
    Positions target = source;
    for (size_t i = 0; i < target.size(); ++i) {
      for (size_t axis = 0; axis < 3; ++axis) target[i][axis] += 0.01 * percent * noise[i][axis];
    }
    const ReferenceSolve slow = SolveSlowly(source, target, Start(0));
    if (slow.parameters[SevenScale] <= 0) continue;
    Parameters parameters = Start(0);
    const int solved = SolveSevenParameters(source, target, parameters.data());
    const bool converged = slow.fLastCorrection <= 1e-5;
    EXPECT_EQ(solved, slow.nIterations < 20 ? 1 : 0) << percent;
    if (slow.nIterations == 19) ++count19;
    if (slow.nIterations == 20) ++(converged ? count20 : more);
  }
  EXPECT_GT(count19, 0);
  EXPECT_GT(count20, 0);
  EXPECT_GT(more, 0);
}

// ---- Degenerate sets ------------------------------------------------------------------------------------

struct Degenerate {
  const char* szName;
  Positions source;
};

void PrintTo(const Degenerate& set, std::ostream* out) { *out << set.szName; }

Positions Line(const Position& direction, size_t count = 6) {
  Positions points;
  for (size_t i = 0; i < count; ++i) {
    const double t = 0.37 * static_cast<double>(i * i) + 1.0 / 3.0;
    points.push_back({1e5 + t * direction[0], 2e6 + t * direction[1], 300 + t * direction[2]});
  }
  return points;
}

class DegenerateSet : public ::testing::TestWithParam<Degenerate> {};

TEST_P(DegenerateSet, IsAFailedStart) {
  const Positions& source = GetParam().source;
  for (const double kappa : {0.0, 1.0, 3.0}) {
    const Positions target = Moved(source, {1.7, 0.1, 0.2, kappa, {5, 6, 7}});
    Parameters parameters;
    EXPECT_EQ(SolveSevenParametersFromAnyKappa(source, target, parameters.data()), 0) << kappa;
    parameters = Start(kappa);
    EXPECT_EQ(SolveSevenParameters(source, target, parameters.data()), 0) << kappa;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Similarity, DegenerateSet,
    ::testing::Values(Degenerate{"NoPoint", {}}, Degenerate{"OnePoint", Box(1, 1, 1, 1)},
                      Degenerate{"TwoPoints", Box(2, 100, 100, 100)},
                      Degenerate{"Coincident", Positions(5, Position{1, 2, 3})},
                      Degenerate{"TwoPlaces", {{0, 0, 0}, {1, 2, 3}, {1, 2, 3}, {0, 0, 0}}},
                      Degenerate{"AlongX", Line({1, 0, 0})}, Degenerate{"AlongY", Line({0, 1, 0})},
                      Degenerate{"AlongZ", Line({0, 0, 1})}, Degenerate{"Oblique", Line({100, 30, 1})},
                      Degenerate{"ObliqueLong", Line({3e4, -1e4, 1e3}, 50)}),
    [](const auto& set) { return set.param.szName; });

TEST(Similarity, NotANumberIsAFailedStart) {
  for (const double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e200}) {
    for (const bool inSource : {true, false}) {
      Positions source = Box(6, 10, 10, 10), target = source;
      (inSource ? source : target)[3][1] = bad;
      Parameters parameters;
      EXPECT_EQ(SolveSevenParametersFromAnyKappa(source, target, parameters.data()), 0) << bad << inSource;
    }
  }
}

TEST(Similarity, OneCoincidentSetIsAFailedStart) {
  const Positions points = Box(6, 10, 10, 10), one(6, Position{1, 2, 3});
  Parameters parameters;
  EXPECT_EQ(SolveSevenParametersFromAnyKappa(points, one, parameters.data()), 0);
  EXPECT_EQ(SolveSevenParametersFromAnyKappa(one, points, parameters.data()), 0);
}

TEST(Similarity, ThreePointsAreEnough) {
  const Positions source = {{0, 0, 0}, {100, 10, 5}, {20, 80, -5}};
  const Positions target = Moved(source, {0.5, 0.05, -0.05, -2, {1, 2, 3}});
  Parameters parameters;
  ASSERT_EQ(SolveSevenParametersFromAnyKappa(source, target, parameters.data()), 1);
  EXPECT_LE(SumOfSquares(source, target, parameters), 3 * std::pow(1e-9 * parameters[SevenTargetSize], 2));
}

// ---- Application ----------------------------------------------------------------------------------------

TEST(Similarity, HoldsATransformOnlyAfterASolve) {
  Parameters parameters{};
  EXPECT_FALSE(HoldsTransform(parameters.data()));
  parameters[SevenSourceSize] = 1;
  EXPECT_FALSE(HoldsTransform(parameters.data()));
  parameters[SevenTargetSize] = 2;
  EXPECT_TRUE(HoldsTransform(parameters.data()));
  parameters[SevenSourceSize] = std::nan("");
  EXPECT_FALSE(HoldsTransform(parameters.data()));
}

TEST(Similarity, TransformIsTheStatedFormula) {
  // T, lambda, angles, c, d, sizes: a quarter turn, a = 2 (p - c).
  const Parameters parameters = {1, 2, 3, 1.5, 0, 0, kPi / 2, 10, 20, 30, 100, 200, 300, 4, 8};
  const Position source = {11, 22, 33};  // a = (2, 4, 6), R a = (-4, 2, 6)
  Position result;
  EXPECT_EQ(TransformPoints({&source, 1}, parameters.data(), {&result, 1}), 1);
  EXPECT_DOUBLE_EQ(result[0], -6 + 1 + 100);
  EXPECT_DOUBLE_EQ(result[1], 3 + 2 + 200);
  EXPECT_DOUBLE_EQ(result[2], 9 + 3 + 300);
}

TEST(Similarity, RotationsOfTheImagesTurnWithTheBlock) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> unit(-1, 1);
  for (int trial = 0; trial < 200; ++trial) {
    Parameters parameters{};
    for (const size_t i : {4, 5, 6}) parameters[i] = 3 * unit(random);
    double phi = kPi * unit(random), omega = 1.5 * unit(random), kappa = kPi * unit(random);
    double R1[9], R2[9], M[9];
    ComputeRotationMatrix(parameters[4], parameters[5], parameters[6], R1);
    ComputeRotationMatrix(phi, omega, kappa, R2);
    EXPECT_EQ(RotateEop(parameters.data(), phi, omega, kappa), 1);
    ComputeRotationMatrix(phi, omega, kappa, M);
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        EXPECT_NEAR(M[3 * i + j], R1[3 * i] * R2[j] + R1[3 * i + 1] * R2[3 + j] + R1[3 * i + 2] * R2[6 + j],
                    1e-7);
      }
    }
  }
}

TEST(Similarity, IdentityLeavesAnglesToTheLastDigits) {
  const Parameters identity{};
  double phi = 0.1, omega = -0.2, kappa = 3.1;
  RotateEop(identity.data(), phi, omega, kappa);
  EXPECT_NEAR(phi, 0.1, 1e-15);
  EXPECT_NEAR(omega, -0.2, 1e-15);
  EXPECT_NEAR(kappa, 3.1, 1e-15);
}

TEST(Similarity, RightAnglesGiveNumbers) {
  for (int step = 0; step < 1000; ++step) {
    Parameters parameters{};
    parameters[6] = 0.01 * step;
    double phi = 0.02 * step, omega = kPi / 2, kappa = 0.03 * step;
    RotateEop(parameters.data(), phi, omega, kappa);
    EXPECT_TRUE(std::isfinite(phi) && std::isfinite(omega) && std::isfinite(kappa)) << step;
  }
}

}  // namespace
}  // namespace orvo
