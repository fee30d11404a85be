#include "solver/BlockInverse.h"

#include <cmath>
#include <utility>

#include "geometry/OrvoMatrix.h"

namespace orvo {
namespace {

template <int N>
void SwapRows(double (&a)[N][N], int i, int k) {
  if (i == k) return;
  for (int j = 0; j < N; ++j) std::swap(a[i][j], a[k][j]);
}

template <int N>
void SwapColumns(double (&a)[N][N], int j, int k) {
  if (j == k) return;
  for (int i = 0; i < N; ++i) std::swap(a[i][j], a[i][k]);
}

template <int N>
int Invert(double* block) {
  double a[N][N];
  for (int i = 0; i < N * N; ++i) a[i / N][i % N] = block[i];
  int pivotRow[N], pivotColumn[N];
  for (int k = 0; k < N; ++k) {
    double largest = 0.0;
    pivotRow[k] = pivotColumn[k] = k;
    for (int i = k; i < N; ++i) {
      for (int j = k; j < N; ++j) {
        if (std::fabs(a[i][j]) > largest) {
          largest = std::fabs(a[i][j]);
          pivotRow[k] = i;
          pivotColumn[k] = j;
        }
      }
    }
    if (kBlockPivotTolerance > largest) return -1;
    SwapRows(a, pivotRow[k], k);
    SwapColumns(a, pivotColumn[k], k);

    const double p = 1.0 / a[k][k];
    for (int j = 0; j < N; ++j) a[k][j] *= p;
    for (int i = 0; i < N; ++i) {
      if (i == k) continue;
      const double m = a[i][k];
      if (!(kBlockPivotTolerance > std::fabs(m))) {
        for (int j = 0; j < N; ++j) a[i][j] -= m * a[k][j];
      }
      a[i][k] = m * -p;
    }
    a[k][k] = p;
  }
  for (int k = N - 1; k >= 0; --k) {
    SwapRows(a, pivotColumn[k], k);
    SwapColumns(a, pivotRow[k], k);
  }
  for (int i = 0; i < N * N; ++i) block[i] = a[i / N][i % N];
  return 1;
}

}  // namespace

int InvertBlockInPlace(double* block, int32_t order) {
  if (block == nullptr) return -1;
  switch (order) {
    case 5:
      return Invert<5>(block);
    case 6:
      return Invert<6>(block);
    case 11:
      return Invert<11>(block);
    default:
      return InvertGaussJordan(block, order, kBlockPivotTolerance);
  }
}

}  // namespace orvo
