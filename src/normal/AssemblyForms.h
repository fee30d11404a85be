// Pieces of the assembly kernels that do not depend on the pass: where things stand in a ray's rows, the
// inverse of a point's matrix, the order of its rays. Compiled with the kernels, so everything stands in an
// unnamed namespace too.
#pragma once

#include "base/simd/VectorLanes.h"
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
  static constexpr int kBlock = kEopSize, kB = 0, kA = 8, kL = 6;
  using Row = Row8;   ///< what of the rows is formed
  using Own = Row8;   ///< what of them goes to an own block
  using Kept = Row8;  ///< what of G and N is kept for rays and nodes, each row at a multiple of kKept
  static constexpr int kKept = 8;
};
template <>
struct RowForm<LayoutIop> {
  static constexpr int kBlock = kIopSize, kB = 8, kA = 0, kL = 5;
  using Row = Row16;
  using Own = Row8;
  using Kept = Row8;
  static constexpr int kKept = 8;
};
template <>
struct RowForm<LayoutMergedEopIop> {
  static constexpr int kBlock = kMergedSize, kB = 0, kA = kEopSize, kL = kMergedSize;
  using Row = Row12;
  using Own = Row12;
  using Kept = Row12;
  static constexpr int kKept = 16;
};
template <>
struct RowForm<LayoutEopIop> {
  static constexpr int kBlock = kEopSize, kB = 0, kA = 8, kL = 13;
  using Row = Row16;
  using Own = Row16;
  using Kept = Row8;
  static constexpr int kKept = 8;
};

/// Minus the inverses of several M (xx, xy, xz, yy, yz, zz) side by side; minus 1 in the lanes where the
/// triangular factors show that M is well conditioned, 0 in the others, whose inverses have no meaning.
[[gnu::always_inline]] inline auto InvertWellConditioned(const Lanes* M, Lanes* minusInverse) {
  const Lanes limit = 1e-6 * (M[0] + M[3] + M[5]);
  const Lanes i0 = 1.0 / M[0];
  const Lanes l10 = M[1] * i0, l20 = M[2] * i0;
  const Lanes d1 = M[3] - l10 * M[1];
  const Lanes i1 = 1.0 / d1;
  const Lanes e21 = M[4] - l20 * M[1];
  const Lanes l21 = e21 * i1;
  const Lanes d2 = M[5] - l20 * M[2] - l21 * e21;
  const Lanes i2 = 1.0 / d2;
  const Lanes m20 = l10 * l21 - l20;
  minusInverse[5] = -i2;
  minusInverse[4] = l21 * i2;
  minusInverse[2] = -m20 * i2;
  minusInverse[3] = -i1 - l21 * l21 * i2;
  minusInverse[1] = l10 * i1 + l21 * m20 * i2;
  minusInverse[0] = -i0 - l10 * l10 * i1 - m20 * m20 * i2;
  return (M[0] > limit) & (d1 > limit) & (d2 > limit) & (limit > 1e-20) & (limit < 1e100);
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

/// Where a block stands in the thread's store.
struct BlockAccess {
  const AssemblyInput& in;
  AssemblyOutput& out;

  /// The spare block for one that the pattern does not have, which is told.
  int64_t Offset(int64_t point, int32_t row, int32_t column) const {
    const int64_t offset = OffsetOfBlock(in.Index, row, column);
    if (__builtin_expect(offset >= 0, 1)) return offset;
    RememberMissingBlock(out, {point, -1, row, column});
    return in.nSpareOffset;
  }
  double* Block(int64_t point, int32_t row, int32_t column) const {
    return out.pBlocks + Offset(point, row, column);
  }
  bool IsNoted(int32_t row) const { return out.pRowFlags[row] == 1; }
  /// Flags the block row; without a diagonal block in the pattern every measurement on it is told.
  void NoteRow(int64_t point, int32_t row, int64_t imagePoint) const {
    uint8_t& flag = out.pRowFlags[row];
    if (__builtin_expect(flag == 1, 1)) return;
    flag = OffsetOfBlock(in.Index, row, row) < 0 ? 2 : 1;
    if (flag == 2) RememberMissingBlock(out, {point, imagePoint, row, row});
  }
};

/// Minus M^-1, as xx, xy, xz, yy, yz, zz, times three rows. Single rows all the way: where rows stand in
/// an array the compiler copies them in halves, and the load that joins these waits for both to reach the
/// cache.
template <class R>
[[gnu::always_inline]] inline void Eliminate(const double* m, const R& r0, const R& r1, const R& r2,
                                             double* n, int stride) {
  R n0 = R::Scaled(m[0], r0), n1 = R::Scaled(m[1], r0), n2 = R::Scaled(m[2], r0);
  n0.AddScaled(m[1], r1);
  n1.AddScaled(m[3], r1);
  n2.AddScaled(m[4], r1);
  n0.AddScaled(m[2], r2);
  n1.AddScaled(m[4], r2);
  n2.AddScaled(m[5], r2);
  n0.Store(n);
  n1.Store(n + stride);
  n2.Store(n + 2 * stride);
}

}  // namespace
}  // namespace orvo
