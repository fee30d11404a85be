// Equal numbers of several measurements or points side by side in a vector register. Part of the kernels that
// are compiled for several instruction sets: everything stands in an unnamed namespace, so that no copy is
// shared.
#pragma once

#include <cstdint>

#include "base/simd/Registers.h"

namespace orvo {
namespace {

constexpr int kLanes = kRegisterBytes / sizeof(double);

using Lanes [[gnu::vector_size(kRegisterBytes)]] = double;
using LanesInMemory [[gnu::vector_size(kRegisterBytes), gnu::aligned(8), gnu::may_alias]] = double;

[[gnu::always_inline]] inline Lanes LoadLanes(const double* p) {
  return *reinterpret_cast<const LanesInMemory*>(p);
}
[[gnu::always_inline]] inline void StoreLanes(double* p, Lanes v) {
  *reinterpret_cast<LanesInMemory*>(p) = v;
}
[[gnu::always_inline]] inline Lanes SplatLanes(double x) { return Lanes{} + x; }
[[gnu::always_inline]] inline double SumOfLanes(Lanes v) {
  double sum = 0;
  for (int k = 0; k < kLanes; ++k) sum += v[k];
  return sum;
}

/// Rows become columns, kLanes by kLanes.
[[gnu::always_inline]] inline void Transpose(Lanes* a) {
#if defined(__AVX512F__)
  Lanes even[4], odd[4];
  for (int k = 0; k < 4; ++k) {
    even[k] = __builtin_shufflevector(a[2 * k], a[2 * k + 1], 0, 8, 2, 10, 4, 12, 6, 14);
    odd[k] = __builtin_shufflevector(a[2 * k], a[2 * k + 1], 1, 9, 3, 11, 5, 13, 7, 15);
  }
  const auto spread = [](const Lanes* t, Lanes* out) {
    const Lanes p = __builtin_shufflevector(t[0], t[1], 0, 1, 4, 5, 8, 9, 12, 13);
    const Lanes q = __builtin_shufflevector(t[0], t[1], 2, 3, 6, 7, 10, 11, 14, 15);
    const Lanes r = __builtin_shufflevector(t[2], t[3], 0, 1, 4, 5, 8, 9, 12, 13);
    const Lanes s = __builtin_shufflevector(t[2], t[3], 2, 3, 6, 7, 10, 11, 14, 15);
    out[0] = __builtin_shufflevector(p, r, 0, 1, 4, 5, 8, 9, 12, 13);
    out[2] = __builtin_shufflevector(q, s, 0, 1, 4, 5, 8, 9, 12, 13);
    out[4] = __builtin_shufflevector(p, r, 2, 3, 6, 7, 10, 11, 14, 15);
    out[6] = __builtin_shufflevector(q, s, 2, 3, 6, 7, 10, 11, 14, 15);
  };
  spread(even, a);
  spread(odd, a + 1);
#elif defined(__AVX2__)
  const Lanes p = __builtin_shufflevector(a[0], a[1], 0, 4, 2, 6),
              q = __builtin_shufflevector(a[0], a[1], 1, 5, 3, 7);
  const Lanes r = __builtin_shufflevector(a[2], a[3], 0, 4, 2, 6),
              s = __builtin_shufflevector(a[2], a[3], 1, 5, 3, 7);
  a[0] = __builtin_shufflevector(p, r, 0, 1, 4, 5);
  a[1] = __builtin_shufflevector(q, s, 0, 1, 4, 5);
  a[2] = __builtin_shufflevector(p, r, 2, 3, 6, 7);
  a[3] = __builtin_shufflevector(q, s, 2, 3, 6, 7);
#else
  const Lanes p = __builtin_shufflevector(a[0], a[1], 0, 2), q = __builtin_shufflevector(a[0], a[1], 1, 3);
  a[0] = p;
  a[1] = q;
#endif
}

/// columns[c] lane k = sources[k][c], kCount numbers of each source.
template <int kCount>
[[gnu::always_inline]] inline void GatherColumns(const double* const* sources, Lanes* columns) {
  static_assert(kCount % kLanes == 0);
  for (int c = 0; c < kCount; c += kLanes) {
    for (int k = 0; k < kLanes; ++k) columns[c + k] = LoadLanes(sources[k] + c);
    Transpose(columns + c);
  }
}

/// targets + k * stride gets lane k of the kCount columns, which are spoilt.
template <int kCount>
[[gnu::always_inline]] inline void ScatterColumns(Lanes* columns, double* targets, int64_t stride) {
  static_assert(kCount % kLanes == 0);
  for (int c = 0; c < kCount; c += kLanes) {
    Transpose(columns + c);
    for (int k = 0; k < kLanes; ++k) StoreLanes(targets + k * stride + c, columns[c + k]);
  }
}

}  // namespace
}  // namespace orvo
