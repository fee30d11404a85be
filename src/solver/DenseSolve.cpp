#include "solver/DenseSolve.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/Threads.h"
#include "geometry/OrvoMatrix.h"
#include "solver/Cholesky.h"

namespace orvo {
namespace {

// Below this order a factorisation takes less time than starting a thread.
constexpr int32_t kLeastOrderForThreads = 384;
constexpr int32_t kMaxThreadNum = 64;

int32_t DenseThreadNum(int32_t order, int32_t threads) {
  return order < kLeastOrderForThreads ? 1 : std::clamp(threads, 1, kMaxThreadNum);
}

bool AllFinite(const double* values, int32_t n) {
  return std::all_of(values, values + n, [](double value) { return std::isfinite(value); });
}

double LargestMagnitude(const double* values, int32_t n) { return std::fabs(MaxMagnitude(values, n, 1)); }

/// True when the remainder is what rounding explains. The largest diagonal element stands for the norm of N.
bool IsSmall(const double* remainder, const std::vector<double>& diagonal, const double* b, const double* x) {
  constexpr double kShare = 1e-9;
  const auto n = static_cast<int32_t>(diagonal.size());
  const double scale = LargestMagnitude(b, n) + LargestMagnitude(diagonal.data(), n) * LargestMagnitude(x, n);
  return AllFinite(remainder, n) && LargestMagnitude(remainder, n) <= kShare * scale;
}

/// From the strict lower triangle of N and the diagonal.
bool SolveByInverse(const double* N, const std::vector<double>& diagonal, const double* b, double* x) {
  const size_t n = diagonal.size();
  std::vector<double> inverse(n * n);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < i; ++j) inverse[i * n + j] = inverse[j * n + i] = N[i * n + j];
    inverse[i * n + i] = diagonal[i];
  }
  if (InvertGaussJordan(inverse.data(), static_cast<int32_t>(n)) != 1) return false;
  for (size_t i = 0; i < n; ++i) {
    double sum = 0;
    for (size_t j = 0; j < n; ++j) sum += inverse[i * n + j] * b[j];
    x[i] = sum;
  }
  return true;
}

DenseSolution SolveUncleared(Cholesky& cholesky, const double* N, int32_t n, const double* b, double* x,
                             double* remainder, int32_t threads) {
  std::vector<double> diagonal(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) diagonal[static_cast<size_t>(i)] = N[static_cast<ptrdiff_t>(i) * n + i];
  // The factor goes to the upper triangle, so that the lower one still holds N afterwards.
  if (AllFinite(diagonal.data(), n)) {
    WorkerPool pool(DenseThreadNum(n, threads));
    if (cholesky.Factor(pool)) {
      std::copy_n(b, n, x);
      cholesky.Solve(x);
      if (AllFinite(x, n)) {
        cholesky.Remainder(diagonal.data(), b, x, remainder);
        if (IsSmall(remainder, diagonal, b, x)) return DenseSolution::Cholesky;
      }
    }
  }
  if (!SolveByInverse(N, diagonal, b, x)) return DenseSolution::Singular;
  cholesky.Remainder(diagonal.data(), b, x, remainder);
  return AllFinite(x, n) ? DenseSolution::FullPivot : DenseSolution::NotFinite;
}

}  // namespace

DenseSolution SolveDense(double* N, int32_t n, const double* b, double* x, double* remainder, int32_t threads,
                         const DenseLook& look) {
  if (n < 1) return DenseSolution::Singular;
  Cholesky cholesky(N, n);
  const DenseSolution solution = SolveUncleared(cholesky, N, n, b, x, remainder, threads);
  if (look && solution != DenseSolution::Singular) look({cholesky, solution});
  cholesky.Clear();
  return solution;
}

}  // namespace orvo
