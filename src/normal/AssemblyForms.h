// Pieces of the assembly kernels that do not depend on the pass: where things stand in a ray's rows, the
// inverse of a point's matrix, the order of its rays. Compiled with the kernels, so everything stands in an
// unnamed namespace too.
#pragma once

#include "normal/AssemblyKernel.h"
#include "normal/VectorRows.h"

namespace orvo {
namespace {

using Ray = AssemblyRay;

/// Where things stand in a ray's rows, and how wide an own block is.
template <int kLayout>
struct RowForm;

template <>
struct RowForm<LayoutEop> {
  static constexpr int kBlock = 6, kB = 0, kA = 7, kL = 6;
  using Row = Row8;  ///< what of the rows is formed
  using Own = Row8;  ///< what of them goes to an own block
};
template <>
struct RowForm<LayoutIop> {
  static constexpr int kBlock = 5, kB = 6, kA = 0, kL = 5;
  using Row = Row12;
  using Own = Row8;
};
template <>
struct RowForm<LayoutMergedEopIop> {
  static constexpr int kBlock = 11, kB = 0, kA = 6, kL = 11;
  using Row = Row12;
  using Own = Row12;
};
template <>
struct RowForm<LayoutEopIop> {
  static constexpr int kBlock = 6, kB = 0, kA = 6, kL = 11;
  using Row = Row12;
  using Own = Row12;
};

/// Inverse of M (xx, xy, xz, yy, yz, zz) where its triangular factors show that it is well conditioned.
inline bool InvertWellConditioned(const double* M, double* inverse) {
  const double limit = 1e-6 * (M[0] + M[3] + M[5]);
  const double i0 = 1 / M[0];
  const double l10 = M[1] * i0, l20 = M[2] * i0;
  const double d1 = M[3] - l10 * M[1];
  const double i1 = 1 / d1;
  const double e21 = M[4] - l20 * M[1];
  const double l21 = e21 * i1;
  const double d2 = M[5] - l20 * M[2] - l21 * e21;
  const double i2 = 1 / d2;
  if (!(M[0] > limit && d1 > limit && d2 > limit && limit > 1e-20 && limit < 1e100)) return false;
  const double m20 = l10 * l21 - l20;
  inverse[5] = i2;
  inverse[4] = -l21 * i2;
  inverse[2] = m20 * i2;
  inverse[3] = i1 + l21 * l21 * i2;
  inverse[1] = -l10 * i1 - l21 * m20 * i2;
  inverse[0] = i0 + l10 * l10 * i1 + m20 * m20 * i2;
  return true;
}

/// Stable order of the rays by `key`; points have few rays, and most come in order.
inline void SortRays(int32_t* order, int32_t count, const Ray* rays, int32_t Ray::*key) {
  if (count > 64) return SortManyRays(order, count, rays, key);
  for (int32_t k = 1; k < count; ++k) {
    const int32_t moved = order[k];
    int32_t place = k;
    for (; place > 0 && rays[order[place - 1]].*key > rays[moved].*key; --place)
      order[place] = order[place - 1];
    order[place] = moved;
  }
}

}  // namespace
}  // namespace orvo
