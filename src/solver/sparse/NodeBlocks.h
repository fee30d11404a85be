// What is done with the block of two nodes: products that know the usual size, that of an image, when they
// are compiled.
#pragma once

#include <Eigen/Core>
#include <cstdint>

namespace orvo::sparse {

/// Unknowns of an image.
inline constexpr int32_t kUsualNode = 6;

template <int kSize>
using NodeBlock = Eigen::Matrix<double, kSize, kSize>;
template <int kSize>
using NodeVector = Eigen::Matrix<double, kSize, 1>;

/// y += A x; A is rows x cols, column-major. kSize is the number of both, or Eigen::Dynamic.
template <int kSize>
void AddTimes(const double* a, int32_t rows, int32_t cols, const double* x, double* y) {
  const Eigen::Map<const NodeBlock<kSize>> A(a, rows, cols);
  const Eigen::Map<const NodeVector<kSize>> from(x, cols);
  Eigen::Map<NodeVector<kSize>>(y, rows) += A.lazyProduct(from);
}

/// y += A'x
template <int kSize>
void AddTransposedTimes(const double* a, int32_t rows, int32_t cols, const double* x, double* y) {
  const Eigen::Map<const NodeBlock<kSize>> A(a, rows, cols);
  const Eigen::Map<const NodeVector<kSize>> from(x, rows);
  Eigen::Map<NodeVector<kSize>>(y, cols) += A.transpose().lazyProduct(from);
}

inline bool IsUsual(int32_t rows, int32_t cols) { return rows == kUsualNode && cols == kUsualNode; }

/// y += A x for `columnNum` vectors, `stride` apart.
inline void AddTimes(const double* a, int32_t rows, int32_t cols, const double* x, double* y, int64_t stride,
                     int32_t columnNum) {
  for (int32_t c = 0; c < columnNum; ++c, x += stride, y += stride) {
    if (IsUsual(rows, cols)) {
      AddTimes<kUsualNode>(a, rows, cols, x, y);
    } else {
      AddTimes<Eigen::Dynamic>(a, rows, cols, x, y);
    }
  }
}

/// y += A'x for `columnNum` vectors, `stride` apart.
inline void AddTransposedTimes(const double* a, int32_t rows, int32_t cols, const double* x, double* y,
                               int64_t stride, int32_t columnNum) {
  for (int32_t c = 0; c < columnNum; ++c, x += stride, y += stride) {
    if (IsUsual(rows, cols)) {
      AddTransposedTimes<kUsualNode>(a, rows, cols, x, y);
    } else {
      AddTransposedTimes<Eigen::Dynamic>(a, rows, cols, x, y);
    }
  }
}

}  // namespace orvo::sparse
