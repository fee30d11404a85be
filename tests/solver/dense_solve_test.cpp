#include "solver/DenseSolve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "geometry/OrvoMatrix.h"

namespace orvo {
namespace {

using Values = std::vector<double>;

/// A symmetric positive definite matrix: a band of noise under a dominating diagonal of mixed scales.
Values PositiveDefinite(int32_t n, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  const auto size = static_cast<size_t>(n);
  Values scale(size), N(size * size);
  for (double& s : scale) s = std::pow(10.0, 2 * uniform(random));
  for (size_t i = 0; i < size; ++i) {
    for (size_t j = 0; j < i; ++j) N[i * size + j] = N[j * size + i] = uniform(random) * scale[i] * scale[j];
    N[i * size + i] = (1 + n) * scale[i] * scale[i];
  }
  return N;
}

Values Multiply(const Values& N, const Values& x) {
  const size_t n = x.size();
  Values b(n, 0.0);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < n; ++j) b[i] += N[i * n + j] * x[j];
  }
  return b;
}

struct Solved {
  DenseSolution Kind;
  Values x, Remainder;
};

Solved Solve(Values N, const Values& b, int32_t threads = 1) {
  Solved solved{DenseSolution::Singular, Values(b.size()), Values(b.size())};
  solved.Kind = SolveDense(N.data(), static_cast<int32_t>(b.size()), b.data(), solved.x.data(),
                           solved.Remainder.data(), threads);
  EXPECT_EQ(N, Values(N.size())) << "the matrix is left cleared";
  return solved;
}

TEST(SolveDense, PositiveDefiniteSystemsOfEverySize) {
  for (const int32_t n : {1, 2, 3, 7, 50, 255, 256, 257, 511, 513, 700}) {
    const Values N = PositiveDefinite(n, static_cast<uint32_t>(n));
    std::mt19937 random(1);
    std::uniform_real_distribution<double> uniform(-1, 1);
    Values x(static_cast<size_t>(n));
    for (double& value : x) value = uniform(random);
    const Values b = Multiply(N, x);
    const Solved solved = Solve(N, b);
    EXPECT_EQ(solved.Kind, DenseSolution::Cholesky) << n;
    // The scales of the unknowns differ by four orders, and so do the parts of b that a small unknown hides
    // behind.
    for (size_t k = 0; k < x.size(); ++k) ASSERT_NEAR(solved.x[k], x[k], 1e-9) << n << " " << k;
    const Values product = Multiply(N, solved.x);
    for (size_t k = 0; k < x.size(); ++k) {
      EXPECT_NEAR(solved.Remainder[k], b[k] - product[k], 1e-9 * N[k * x.size() + k]) << n << " " << k;
    }
  }
}

TEST(SolveDense, AgreesWithTheFullInverse) {
  const int32_t n = 60;
  const Values N = PositiveDefinite(n, 5);
  Values inverse = N;
  ASSERT_EQ(InvertGaussJordan(inverse.data(), n), 1);
  Values b(static_cast<size_t>(n));
  for (size_t k = 0; k < b.size(); ++k) b[k] = static_cast<double>(k) - 20.5;
  const Values expected = Multiply(inverse, b);
  const Solved solved = Solve(N, b);
  for (size_t k = 0; k < b.size(); ++k)
    EXPECT_NEAR(solved.x[k], expected[k], 1e-11 * (1 + std::fabs(expected[k])));
}

TEST(SolveDense, KnownSystem) {
  // 4 2 | 10    x = 2
  // 2 3 |  7    y = 1
  const Solved solved = Solve({4, 2, 2, 3}, {10, 7});
  EXPECT_EQ(solved.Kind, DenseSolution::Cholesky);
  EXPECT_NEAR(solved.x[0], 2, 1e-15);
  EXPECT_NEAR(solved.x[1], 1, 1e-15);
}

TEST(SolveDense, IndefiniteSystemGoesThroughTheInverse) {
  const Solved swap = Solve({0, 1, 1, 0}, {3, 4});
  EXPECT_EQ(swap.Kind, DenseSolution::FullPivot);
  EXPECT_EQ(swap.x, (Values{4, 3}));
  EXPECT_EQ(swap.Remainder, (Values{0, 0}));

  Values N = PositiveDefinite(300, 8);
  N[299 * 300 + 299] *= -1;
  Values x(300, 1.0);
  const Solved late = Solve(N, Multiply(N, x));
  EXPECT_EQ(late.Kind, DenseSolution::FullPivot);
  for (const double value : late.x) EXPECT_NEAR(value, 1, 1e-7);
}

TEST(SolveDense, SingularSystems) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
  EXPECT_EQ(Solve({0, 0, 0, 0}, {1, 1}).Kind, DenseSolution::Singular);
  EXPECT_EQ(Solve({1, 1, 1, 1}, {1, 1}).Kind, DenseSolution::Singular);
  EXPECT_EQ(Solve({1e-28}, {1}).Kind, DenseSolution::Cholesky) << "small is not singular to Cholesky";
  EXPECT_EQ(Solve({nan, 0, 0, 1}, {1, 1}).Kind, DenseSolution::Singular);
  EXPECT_EQ(Solve({1, nan, nan, 1}, {1, 1}).Kind, DenseSolution::Singular);
  EXPECT_EQ(Solve({1, 0, 0, 1}, {nan, 1}).Kind, DenseSolution::NotFinite);
  EXPECT_EQ(Solve({1, 0, 0, 1}, {inf, 1}).Kind, DenseSolution::NotFinite);
  EXPECT_EQ(Solve({-1e-28}, {1}).Kind, DenseSolution::Singular);
  EXPECT_EQ(SolveDense(nullptr, 0, nullptr, nullptr, nullptr, 1), DenseSolution::Singular);
}

TEST(SolveDense, InfiniteDampingGivesNoStep) {
  const double inf = std::numeric_limits<double>::infinity();
  const Solved solved = Solve({inf, 2, 2, inf}, {1, 1});
  EXPECT_EQ(solved.Kind, DenseSolution::FullPivot);
  EXPECT_EQ(solved.x, (Values{0, 0}));
}

TEST(SolveDense, NumbersDoNotDependOnTheThreads) {
  for (const int32_t n : {257, 700, 1030}) {
    const Values N = PositiveDefinite(n, 3);
    const Values b(static_cast<size_t>(n), 1.0);
    const Solved one = Solve(N, b, 1);
    for (const int32_t threads : {2, 3, 8}) {
      const Solved many = Solve(N, b, threads);
      EXPECT_EQ(0, std::memcmp(one.x.data(), many.x.data(), one.x.size() * sizeof(double))) << threads;
      EXPECT_EQ(0, std::memcmp(one.Remainder.data(), many.Remainder.data(), one.x.size() * sizeof(double)));
    }
  }
}

}  // namespace
}  // namespace orvo
