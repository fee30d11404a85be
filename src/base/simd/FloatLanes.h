// Floats in vector registers, kLanes of them side by side; doubles are in VectorLanes.h. Part of kernels that
// are compiled for several instruction sets: everything stands in an unnamed namespace, so that no copy is
// shared between them.
#pragma once

#include <cstdint>

#if defined(__AVX512F__)
#include <immintrin.h>
#endif

#include "base/simd/Registers.h"

namespace orvo {
namespace {

constexpr int kLanes = kRegisterBytes / sizeof(float);

using Quad [[gnu::vector_size(16)]] = float;
using Floats [[gnu::vector_size(kRegisterBytes)]] = float;
using Ints [[gnu::vector_size(kRegisterBytes)]] = int32_t;

// Rows stand at any multiple of 4 bytes. Copies, not references to a vector type of lesser alignment:
// compilers may forget that on the way.
template <class V>
[[gnu::always_inline]] inline V LoadVector(const void* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof(V));
  return v;
}
template <class V>
[[gnu::always_inline]] inline void StoreVector(void* p, V v) {
  __builtin_memcpy(p, &v, sizeof(V));
}
[[gnu::always_inline]] inline Quad LoadQuad(const float* p) { return LoadVector<Quad>(p); }
[[gnu::always_inline]] inline void StoreQuad(float* p, Quad v) { StoreVector(p, v); }
[[gnu::always_inline]] inline Floats Load(const float* p) { return LoadVector<Floats>(p); }
[[gnu::always_inline]] inline void Store(float* p, Floats v) { StoreVector(p, v); }
[[gnu::always_inline]] inline Ints Load(const uint32_t* p) { return LoadVector<Ints>(p); }
[[gnu::always_inline]] inline void Store(uint32_t* p, Ints v) { StoreVector(p, v); }
[[gnu::always_inline]] inline Floats Splat(float x) { return Floats{} + x; }
[[gnu::always_inline]] inline Ints SplatInt(int32_t x) { return Ints{} + x; }
[[gnu::always_inline]] inline Ints BitsOf(Floats v) { return reinterpret_cast<Ints>(v); }
[[gnu::always_inline]] inline Floats FloatsOf(Ints v) { return reinterpret_cast<Floats>(v); }
[[gnu::always_inline]] inline Floats Magnitude(Floats v) { return FloatsOf(BitsOf(v) & 0x7fffffff); }
/// `v` where the mask is set, 0 elsewhere, whatever `v` is there.
[[gnu::always_inline]] inline Floats Where(Ints mask, Floats v) { return FloatsOf(BitsOf(v) & mask); }

#if defined(__AVX512F__)

/// Four rows, one behind the other. The compiler's own choice is shuffles, for which the transposition waits;
/// an insertion from memory is none.
[[gnu::always_inline]] inline Floats Join(Quad a, Quad b, Quad c, Quad d) {
  const __m256 low = _mm256_insertf128_ps(_mm256_castps128_ps256(a), b, 1);
  const __m256 high = _mm256_insertf128_ps(_mm256_castps128_ps256(c), d, 1);
  return _mm512_insertf32x8(_mm512_castps256_ps512(low), high, 1);
}
[[gnu::always_inline]] inline Ints LaneNumbers() {
  return Ints{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
}
/// Lanes 4 k and 4 k + 1 of both, and lanes 4 k + 2 and 4 k + 3.
[[gnu::always_inline]] inline Floats ZipLow(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 16, 1, 17, 4, 20, 5, 21, 8, 24, 9, 25, 12, 28, 13, 29);
}
[[gnu::always_inline]] inline Floats ZipHigh(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 2, 18, 3, 19, 6, 22, 7, 23, 10, 26, 11, 27, 14, 30, 15, 31);
}
[[gnu::always_inline]] inline Floats PairLow(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28, 29);
}
[[gnu::always_inline]] inline Floats PairHigh(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15, 30, 31);
}
/// Even and odd floats of a b, and back.
[[gnu::always_inline]] inline Floats Evens(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
}
[[gnu::always_inline]] inline Floats Odds(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
}
[[gnu::always_inline]] inline Floats WeaveLow(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
[[gnu::always_inline]] inline Floats WeaveHigh(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}

#elif defined(__AVX2__)

[[gnu::always_inline]] inline Floats Join(Quad a, Quad b) {
  return __builtin_shufflevector(a, b, 0, 1, 2, 3, 4, 5, 6, 7);
}
[[gnu::always_inline]] inline Ints LaneNumbers() { return Ints{0, 1, 2, 3, 4, 5, 6, 7}; }
[[gnu::always_inline]] inline Floats ZipLow(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
}
[[gnu::always_inline]] inline Floats ZipHigh(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
}
[[gnu::always_inline]] inline Floats PairLow(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
}
[[gnu::always_inline]] inline Floats PairHigh(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
}
[[gnu::always_inline]] inline Floats Evens(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14);
}
[[gnu::always_inline]] inline Floats Odds(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15);
}
[[gnu::always_inline]] inline Floats WeaveLow(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
[[gnu::always_inline]] inline Floats WeaveHigh(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

#else

[[gnu::always_inline]] inline Ints LaneNumbers() { return Ints{0, 1, 2, 3}; }
[[gnu::always_inline]] inline Floats ZipLow(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 4, 1, 5);
}
[[gnu::always_inline]] inline Floats ZipHigh(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 2, 6, 3, 7);
}
[[gnu::always_inline]] inline Floats PairLow(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 1, 4, 5);
}
[[gnu::always_inline]] inline Floats PairHigh(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 2, 3, 6, 7);
}
[[gnu::always_inline]] inline Floats Evens(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 0, 2, 4, 6);
}
[[gnu::always_inline]] inline Floats Odds(Floats a, Floats b) {
  return __builtin_shufflevector(a, b, 1, 3, 5, 7);
}
[[gnu::always_inline]] inline Floats WeaveLow(Floats a, Floats b) { return ZipLow(a, b); }
[[gnu::always_inline]] inline Floats WeaveHigh(Floats a, Floats b) { return ZipHigh(a, b); }

#endif

/// Rows 4 L + k of kLanes rows, for L = 0, 1 ..
template <class RowOf>
[[gnu::always_inline]] inline Floats JoinRows(const RowOf& rowOf, int k) {
#if defined(__AVX512F__)
  return Join(LoadQuad(rowOf(k)), LoadQuad(rowOf(4 + k)), LoadQuad(rowOf(8 + k)), LoadQuad(rowOf(12 + k)));
#elif defined(__AVX2__)
  return Join(LoadQuad(rowOf(k)), LoadQuad(rowOf(4 + k)));
#else
  return LoadQuad(rowOf(k));
#endif
}

/// Four columns out of kLanes rows: rowOf(lane) is where the four floats of a lane stand.
template <class RowOf>
[[gnu::always_inline]] inline void LoadColumns(const RowOf& rowOf, Floats& c0, Floats& c1, Floats& c2,
                                               Floats& c3) {
  const Floats r0 = JoinRows(rowOf, 0), r1 = JoinRows(rowOf, 1), r2 = JoinRows(rowOf, 2),
               r3 = JoinRows(rowOf, 3);
  const Floats low01 = ZipLow(r0, r1), low23 = ZipLow(r2, r3);
  const Floats high01 = ZipHigh(r0, r1), high23 = ZipHigh(r2, r3);
  c0 = PairLow(low01, low23);
  c1 = PairHigh(low01, low23);
  c2 = PairLow(high01, high23);
  c3 = PairHigh(high01, high23);
}

/// Back into rows, `stride` floats apart.
[[gnu::always_inline]] inline void StoreRows(float* rows, int stride, Floats c0, Floats c1, Floats c2,
                                             Floats c3) {
  const Floats low01 = ZipLow(c0, c1), high01 = ZipHigh(c0, c1);
  const Floats low23 = ZipLow(c2, c3), high23 = ZipHigh(c2, c3);
  const Floats r[4] = {PairLow(low01, low23), PairHigh(low01, low23), PairLow(high01, high23),
                       PairHigh(high01, high23)};
  for (int k = 0; k < 4; ++k) {
    for (int group = 0; group < kLanes / 4; ++group) {
      Quad row;
      __builtin_memcpy(&row, reinterpret_cast<const char*>(&r[k]) + 16 * group, 16);
      StoreQuad(rows + (4 * group + k) * stride, row);
    }
  }
}

/// x and y of kLanes rays that stand as pairs.
[[gnu::always_inline]] inline void LoadPairs(const float* p, Floats& x, Floats& y) {
  const Floats a = Load(p), b = Load(p + kLanes);
  x = Evens(a, b);
  y = Odds(a, b);
}
[[gnu::always_inline]] inline void StorePairs(float* p, Floats x, Floats y) {
  Store(p, WeaveLow(x, y));
  Store(p + kLanes, WeaveHigh(x, y));
}

}  // namespace
}  // namespace orvo
