#include "solver/DenseSolve.h"

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cmath>
#include <system_error>
#include <thread>
#include <vector>

#include "geometry/OrvoMatrix.h"

extern "C" {
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info);
void dtrsm_(const char* side, const char* uplo, const char* trans, const char* diag, const int* m,
            const int* n, const double* alpha, const double* a, const int* lda, double* b, const int* ldb);
void dsyrk_(const char* uplo, const char* trans, const int* n, const int* k, const double* alpha,
            const double* a, const int* lda, const double* beta, double* c, const int* ldc);
void dgemm_(const char* transA, const char* transB, const int* m, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
            const double* beta, double* c, const int* ldc);
void dtrsv_(const char* uplo, const char* trans, const char* diag, const int* n, const double* a,
            const int* lda, double* x, const int* incx);
// Only one of the libraries that offer the routines above has it.
[[gnu::weak]] void openblas_set_num_threads(int threads);
}

namespace orvo {
namespace {

constexpr int kTile = 256;

/// Seen column by column, the row-major upper triangle is a lower one: N = L L', tile (i, j) below the
/// diagonal.
class TiledCholesky {
 public:
  TiledCholesky(double* matrix, int32_t order, int32_t threads)
      : a(matrix), n(order), tiles((order + kTile - 1) / kTile), phase(threads) {}

  /// The share of one thread; all of them run it.
  void Work(int32_t thread) {
    for (int k = 0; k < tiles; ++k) {
      if (thread == 0) {
        const int size = Size(k);
        int info = 0;
        dpotrf_("L", &size, Tile(k, k), &n, &info);
        if (info != 0) bFailed = true;
        nextColumnTile = k + 1;
        nextUpdate = 0;
      }
      phase.arrive_and_wait();
      if (bFailed) return;
      for (int i = nextColumnTile++; i < tiles; i = nextColumnTile++) SolveColumnTile(i, k);
      phase.arrive_and_wait();
      const int left = tiles - k - 1;
      for (int t = nextUpdate++; t < left * (left + 1) / 2; t = nextUpdate++) {
        // Tiles of the lower triangle, counted column by column.
        int column = 0, rest = t;
        while (rest >= left - column) rest -= left - column++;
        Update(k + 1 + column + rest, k + 1 + column, k);
      }
      phase.arrive_and_wait();
    }
  }
  bool Failed() const { return bFailed; }
  /// One thread less takes part.
  void Drop() { phase.arrive_and_drop(); }

 private:
  int Size(int tile) const { return std::min(kTile, n - tile * kTile); }
  double* Tile(int i, int j) const {
    return a + static_cast<ptrdiff_t>(j) * kTile * n + static_cast<ptrdiff_t>(i) * kTile;
  }

  void SolveColumnTile(int i, int k) const {
    const int rows = Size(i), cols = Size(k);
    const double one = 1;
    dtrsm_("R", "L", "T", "N", &rows, &cols, &one, Tile(k, k), &n, Tile(i, k), &n);
  }
  void Update(int i, int j, int k) const {
    const int rows = Size(i), cols = Size(j), depth = Size(k);
    const double one = 1, minusOne = -1;
    if (i == j) {
      dsyrk_("L", "N", &rows, &depth, &minusOne, Tile(i, k), &n, &one, Tile(i, i), &n);
    } else {
      dgemm_("N", "T", &rows, &cols, &depth, &minusOne, Tile(i, k), &n, Tile(j, k), &n, &one, Tile(i, j), &n);
    }
  }

  double* a;
  int n, tiles;
  std::barrier<> phase;
  std::atomic<int> nextColumnTile{0}, nextUpdate{0};
  bool bFailed = false;
};

/// The symmetric matrix as its strict lower triangle (row-major) and its diagonal give it.
struct LowerHalf {
  const double* N;
  const double* pDiagonal;
  int32_t n;
};

/// remainder = b - N x, in one pass over the half.
void Remainder(const LowerHalf& matrix, const double* b, const double* x, double* remainder) {
  std::copy_n(b, matrix.n, remainder);
  for (int32_t i = 0; i < matrix.n; ++i) {
    const double* row = matrix.N + static_cast<ptrdiff_t>(i) * matrix.n;
    constexpr int kLanes = 8;
    double sums[kLanes] = {};
    int32_t j = 0;
    for (; j + kLanes <= i; j += kLanes) {
      for (int lane = 0; lane < kLanes; ++lane) {
        sums[lane] += row[j + lane] * x[j + lane];
        remainder[j + lane] -= row[j + lane] * x[i];
      }
    }
    double sum = matrix.pDiagonal[i] * x[i];
    for (; j < i; ++j) {
      sum += row[j] * x[j];
      remainder[j] -= row[j] * x[i];
    }
    for (const double lane : sums) sum += lane;
    remainder[i] -= sum;
  }
}

bool AllFinite(const double* values, int32_t n) {
  return std::all_of(values, values + n, [](double value) { return std::isfinite(value); });
}

double LargestMagnitude(const double* values, int32_t n) { return std::fabs(MaxMagnitude(values, n, 1)); }

/// True when the remainder is what rounding explains. The largest diagonal element stands for the norm of N.
bool IsSmall(const double* remainder, const LowerHalf& matrix, const double* b, const double* x) {
  constexpr double kShare = 1e-9;
  const double scale = LargestMagnitude(b, matrix.n) +
                       LargestMagnitude(matrix.pDiagonal, matrix.n) * LargestMagnitude(x, matrix.n);
  return AllFinite(remainder, matrix.n) && LargestMagnitude(remainder, matrix.n) <= kShare * scale;
}

bool SolveByInverse(const LowerHalf& matrix, const double* b, double* x) {
  const auto n = static_cast<size_t>(matrix.n);
  std::vector<double> inverse(n * n);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < i; ++j) inverse[i * n + j] = inverse[j * n + i] = matrix.N[i * n + j];
    inverse[i * n + i] = matrix.pDiagonal[i];
  }
  if (InvertGaussJordan(inverse.data(), matrix.n) != 1) return false;
  for (size_t i = 0; i < n; ++i) {
    double sum = 0;
    for (size_t j = 0; j < n; ++j) sum += inverse[i * n + j] * b[j];
    x[i] = sum;
  }
  return true;
}

}  // namespace

bool FactorCholesky(double* N, int32_t n, int32_t threads) {
  // The tiles are what is spread over threads here; a library that spreads each of them again would make the
  // numbers depend on the machine.
  if (openblas_set_num_threads) openblas_set_num_threads(1);
  const int32_t workers = std::clamp((n + kTile - 1) / kTile, 1, std::max(1, threads));
  TiledCholesky cholesky(N, n, workers);
  std::vector<std::thread> others;
  for (int32_t thread = 1; thread < workers; ++thread) {
    try {
      others.emplace_back([&cholesky, thread] { cholesky.Work(thread); });
    } catch (const std::system_error&) {
      cholesky.Drop();
    }
  }
  cholesky.Work(0);
  for (std::thread& other : others) other.join();
  return !cholesky.Failed();
}

DenseSolution SolveDense(double* N, int32_t n, const double* b, double* x, double* remainder,
                         int32_t threads) {
  if (n < 1) return DenseSolution::Singular;
  std::vector<double> diagonal(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) diagonal[static_cast<size_t>(i)] = N[static_cast<ptrdiff_t>(i) * n + i];
  // The factor goes to the upper triangle, so that the lower one still holds N afterwards.
  const LowerHalf matrix{N, diagonal.data(), n};
  if (AllFinite(diagonal.data(), n) && FactorCholesky(N, n, threads)) {
    std::copy_n(b, n, x);
    const int step = 1;
    dtrsv_("L", "N", "N", &n, N, &n, x, &step);
    dtrsv_("L", "T", "N", &n, N, &n, x, &step);
    if (AllFinite(x, n)) {
      Remainder(matrix, b, x, remainder);
      if (IsSmall(remainder, matrix, b, x)) return DenseSolution::Cholesky;
    }
  }
  if (!SolveByInverse(matrix, b, x) || !AllFinite(x, n)) return DenseSolution::Singular;
  Remainder(matrix, b, x, remainder);
  return DenseSolution::FullPivot;
}

}  // namespace orvo
