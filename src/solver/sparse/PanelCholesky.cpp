#include "solver/sparse/PanelCholesky.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace orvo::sparse {
namespace {

// Columns that are solved one by one; all before them come in by one product.
constexpr int32_t kColumnsAtOnce = 32;

bool Holds(double pivot, double diagonal, double tolerance) {
  return pivot > 0 && pivot > tolerance * diagonal && std::isfinite(pivot);
}

}  // namespace

int32_t FactorPanel(const DensePanel& panel, const PivotTest& test, std::span<double> pivots) {
  Eigen::Map<Eigen::MatrixXd> L(panel.pValues, panel.nHeight, panel.nWidth);
  for (int32_t first = 0; first < panel.nWidth; first += kColumnsAtOnce) {
    const int32_t width = std::min(kColumnsAtOnce, panel.nWidth - first),
                  below = panel.nHeight - first - width;
    auto square = L.block(first, first, width, width);
    auto rest = L.block(first + width, first, below, width);
    if (first > 0) {
      const auto before = L.block(first, 0, width, first);
      square.triangularView<Eigen::Lower>() -= before * before.transpose();
      rest.noalias() -= L.block(first + width, 0, below, first) * before.transpose();
    }
    for (int32_t k = 0; k < width; ++k) {
      const double pivot = square(k, k);
      pivots[first + k] = pivot;
      if (!Holds(pivot, test.Diagonal[first + k], test.dTolerance)) return first + k;
      const double root = std::sqrt(pivot);
      square(k, k) = root;
      square.col(k).tail(width - k - 1) /= root;
      for (int32_t j = k + 1; j < width; ++j) {
        square.col(j).tail(width - j) -= square(j, k) * square.col(k).tail(width - j);
      }
    }
    square.triangularView<Eigen::Lower>().transpose().solveInPlace<Eigen::OnTheRight>(rest);
  }
  return -1;
}

}  // namespace orvo::sparse
