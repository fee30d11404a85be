#include "solver/Cholesky.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace orvo {
namespace {

using Values = std::vector<double>;

/// A symmetric matrix with noise where `has(i, j)`, j below i, says so, under a dominating diagonal.
Values Patterned(size_t n, const std::function<bool(size_t, size_t)>& has) {
  std::mt19937 random(static_cast<uint32_t>(n));
  std::uniform_real_distribution<double> uniform(-1, 1);
  Values N(n * n);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < i; ++j) {
      if (has(i, j)) N[i * n + j] = N[j * n + i] = uniform(random);
    }
    N[i * n + i] = static_cast<double>(n) + uniform(random);
  }
  return N;
}

Values Full(size_t n) {
  return Patterned(n, [](size_t, size_t) { return true; });
}

/// Row by row from the top, as the textbook has it; the lower triangle stays.
Values FactorSlowly(Values N, size_t n) {
  for (size_t k = 0; k < n; ++k) {
    const double root = std::sqrt(N[k * n + k]);
    for (size_t j = k; j < n; ++j) N[k * n + j] /= root;
    for (size_t i = k + 1; i < n; ++i) {
      for (size_t j = i; j < n; ++j) N[i * n + j] -= N[k * n + i] * N[k * n + j];
    }
  }
  return N;
}

Values SolutionOf(size_t n) {
  Values x(n);
  for (size_t k = 0; k < n; ++k) x[k] = 1 + static_cast<double>(k % 17) / 4;
  return x;
}

/// With the lower triangle and the diagonal of N.
Values RemainderSlowly(const Values& N, const Values& b, const Values& x) {
  const size_t n = b.size();
  Values remainder = b;
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < n; ++j) remainder[i] -= N[std::max(i, j) * n + std::min(i, j)] * x[j];
  }
  return remainder;
}

class EachCholesky : public testing::TestWithParam<CholeskyKernels> {
 protected:
  bool Factor(Values& N, size_t n, int32_t threads = 1) const {
    WorkerPool pool(threads);
    return Cholesky(N.data(), static_cast<int32_t>(n), GetParam()).Factor(pool);
  }

  /// Factor, solution and remainder of one matrix against the slow forms.
  void Check(const Values& N, size_t n) const {
    Values U = N, diagonal(n);
    for (size_t k = 0; k < n; ++k) diagonal[k] = N[k * n + k];
    WorkerPool pool(1);
    Cholesky cholesky(U.data(), static_cast<int32_t>(n), GetParam());
    ASSERT_TRUE(cholesky.Factor(pool)) << n;
    const Values expected = FactorSlowly(N, n);
    for (size_t i = 0; i < n; ++i) {
      for (size_t j = 0; j < i; ++j) ASSERT_EQ(U[i * n + j], N[i * n + j]) << n << " " << i << " " << j;
      for (size_t j = i; j < n; ++j) {
        ASSERT_NEAR(U[i * n + j], expected[i * n + j], 1e-12) << n << " " << i << " " << j;
      }
    }
    const Values x = SolutionOf(n), zeros(n);
    Values b = RemainderSlowly(N, zeros, x), solved, remainder(n);
    for (double& element : b) element = -element;
    solved = b;
    cholesky.Solve(solved.data());
    for (size_t k = 0; k < n; ++k) ASSERT_NEAR(solved[k], x[k], 1e-11) << n << " " << k;
    // Of a vector that is no solution, so that there is something to compare.
    const Values other(n, 0.5), rest = RemainderSlowly(N, b, other);
    cholesky.Remainder(diagonal.data(), b.data(), other.data(), remainder.data());
    for (size_t k = 0; k < n; ++k) {
      ASSERT_NEAR(remainder[k], rest[k], 1e-11 * static_cast<double>(n)) << n << " " << k;
    }
  }
};

TEST_P(EachCholesky, SizesAroundTilesStripsAndPanels) {
  for (const size_t n : {1u,  2u,  3u,   4u,   5u,   7u,   8u,   9u,   12u,  13u,  23u,  24u,  25u,
                         31u, 48u, 100u, 191u, 192u, 193u, 200u, 215u, 216u, 217u, 384u, 391u, 600u}) {
    Check(Full(n), n);
  }
}

TEST_P(EachCholesky, ZerosAboveTheFirstElementOfAColumn) {
  const size_t n = 640;
  Check(Patterned(n, [](size_t, size_t) { return false; }), n);
  Check(Patterned(n, [](size_t i, size_t j) { return i - j < 40; }), n);
  Check(Patterned(n, [](size_t i, size_t j) { return i - j < 40 || i >= n - 5; }), n);
  Check(Patterned(n, [](size_t i, size_t j) { return j == 0 || i == 333; }), n);
  Check(Patterned(n, [](size_t i, size_t j) { return (i / 60) % 3 == (j / 60) % 3; }), n);
  // One element far off: it fills its column from there on.
  Check(Patterned(n, [](size_t i, size_t j) { return i - j < 3 || (i == 639 && j == 10); }), n);
}

TEST_P(EachCholesky, ProductsThatCancelAnElement) {
  // N(200, 400) is what row 0 takes off again: U is zero there, N is not.
  const size_t n = 600;
  Values N = Patterned(n, [](size_t, size_t) { return false; });
  const auto set = [&](size_t i, size_t j, double value) { N[i * n + j] = N[j * n + i] = value; };
  set(0, 0, 1);
  set(200, 0, 2);
  set(400, 0, 3);
  set(400, 200, 6);
  Check(N, n);
}

TEST_P(EachCholesky, SameBitsWithAnyNumberOfThreads) {
  for (const size_t n : {193u, 500u, 1030u}) {
    const Values N = Patterned(n, [](size_t i, size_t j) { return i - j < 300 || i >= 480; });
    Values one = N;
    ASSERT_TRUE(Factor(one, n));
    for (const int32_t threads : {1, 2, 3, 8}) {
      Values many = N;
      ASSERT_TRUE(Factor(many, n, threads));
      EXPECT_EQ(0, std::memcmp(one.data(), many.data(), one.size() * sizeof(double))) << n << " " << threads;
    }
  }
}

TEST_P(EachCholesky, RefusesAtAnyRow) {
  const size_t n = 410;
  for (const size_t bad : {0u, 1u, 7u, 8u, 23u, 24u, 100u, 191u, 192u, 200u, 383u, 384u, 409u}) {
    for (const double pivot : {-1.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
      for (const int32_t threads : {1, 3}) {
        Values N = Full(n);
        N[bad * n + bad] = pivot;
        EXPECT_FALSE(Factor(N, n, threads)) << bad << " " << pivot;
      }
    }
  }
}

TEST_P(EachCholesky, RefusesSingularMatrices) {
  Values zero(300 * 300);
  EXPECT_FALSE(Factor(zero, 300));
  Values ones(300 * 300, 1.0);
  EXPECT_FALSE(Factor(ones, 300));
  Values N = Full(300);
  for (size_t k = 0; k < 300; ++k) N[250 * 300 + k] = N[k * 300 + 250] = 0;
  EXPECT_FALSE(Factor(N, 300));
  // What is not a number off the diagonal reaches a pivot sooner or later.
  Values bad = Full(300);
  bad[5 * 300 + 299] = bad[299 * 300 + 5] = std::nan("");
  EXPECT_FALSE(Factor(bad, 300));
}

TEST_P(EachCholesky, SmallAndLargeElements) {
  for (const double scale : {1e-300, 1e-28, 1e150, 1e300}) {
    Values N = Full(30);
    for (double& element : N) element *= scale;
    Values U = N;
    ASSERT_TRUE(Factor(U, 30)) << scale;
    const Values expected = FactorSlowly(N, 30);
    for (size_t i = 0; i < 30; ++i) {
      for (size_t j = i; j < 30; ++j) {
        EXPECT_NEAR(U[i * 30 + j], expected[i * 30 + j], 1e-12 * std::sqrt(scale)) << scale;
      }
    }
  }
}

TEST_P(EachCholesky, ClearsAllItHasUsed) {
  const size_t n = 600;
  for (const double lastPivot : {1.0, -1.0}) {
    Values N = Patterned(n, [](size_t i, size_t j) { return i - j < 30 || i > 590 || (i == 400 && j == 7); });
    N[n * n - 1] *= lastPivot;
    WorkerPool pool(1);
    Cholesky cholesky(N.data(), static_cast<int32_t>(n), GetParam());
    ASSERT_EQ(cholesky.Factor(pool), lastPivot > 0);
    cholesky.Clear();
    EXPECT_EQ(N, Values(n * n)) << lastPivot;
  }
}

TEST_P(EachCholesky, RemainderAfterARefusal) {
  const size_t n = 450;
  Values N = Patterned(n, [](size_t i, size_t j) { return i - j < 30 || i > 440; });
  N[300 * n + 300] = -1;
  Values diagonal(n);
  for (size_t k = 0; k < n; ++k) diagonal[k] = N[k * n + k];
  Values work = N, remainder(n);
  WorkerPool pool(2);
  Cholesky cholesky(work.data(), static_cast<int32_t>(n), GetParam());
  ASSERT_FALSE(cholesky.Factor(pool));
  const Values b(n, 1.0), x = SolutionOf(n), expected = RemainderSlowly(N, b, x);
  cholesky.Remainder(diagonal.data(), b.data(), x.data(), remainder.data());
  for (size_t k = 0; k < n; ++k) EXPECT_NEAR(remainder[k], expected[k], 1e-10) << k;
}

TEST_P(EachCholesky, RowLoops) {
  const CholeskyKernels& kernels = GetParam();
  for (int64_t count : {0, 1, 2, 3, 7, 8, 9, 15, 16, 31, 32, 33, 47, 100}) {
    // Integers, so that any order of summation gives the same.
    Values a(static_cast<size_t>(count)), b(a.size()), y(a.size()), expected(a.size());
    double dot = 0;
    for (size_t k = 0; k < a.size(); ++k) {
      a[k] = static_cast<double>(k % 7) - 3;
      b[k] = static_cast<double>(k % 5) + 1;
      y[k] = static_cast<double>(k);
      expected[k] = y[k] - 2 * a[k];
      dot += a[k] * b[k];
    }
    EXPECT_EQ(kernels.Dot(a.data(), b.data(), count), dot) << count;
    Values once = y;
    kernels.Subtract(2, a.data(), once.data(), count);
    EXPECT_EQ(once, expected) << count;
    EXPECT_EQ(kernels.DotAndSubtract(a.data(), b.data(), 2, y.data(), count), dot) << count;
    EXPECT_EQ(y, expected) << count;
  }
}

INSTANTIATE_TEST_SUITE_P(Kernels, EachCholesky, testing::ValuesIn(UsableCholeskyKernels()),
                         [](const testing::TestParamInfo<CholeskyKernels>& kernels) {
                           std::string name = kernels.param.szName;
                           std::erase(name, '-');
                           return name;
                         });

}  // namespace
}  // namespace orvo
