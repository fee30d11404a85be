// Body of the block kernels. Each instruction set compiles its own copy, so everything stands in an unnamed
// namespace and no library template is used.
#ifdef __AVX512F__
#include <immintrin.h>
#endif

#include "base/simd/Registers.h"
#include "solver/BlockKernels.h"

namespace orvo {
namespace {

constexpr int kLanes = kRegisterBytes / sizeof(double);

using Vector2 [[gnu::vector_size(16)]] = double;
using Vector4 [[gnu::vector_size(32)]] = double;
using Vector [[gnu::vector_size(kRegisterBytes)]] = double;

template <class V>
[[gnu::always_inline]] inline V Load(const double* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof(V));
  return v;
}
template <class V>
[[gnu::always_inline]] inline void Store(double* p, V v) {
  __builtin_memcpy(p, &v, sizeof(V));
}

/// The first W elements, in pieces, the others 0.
template <int W, class V = Vector>
[[gnu::always_inline]] inline V LoadPieces(const double* p) {
  static_assert(W <= kLanes);
  if constexpr (W == kLanes) {
    return Load<V>(p);
  } else {
    V v{};
    if constexpr (kLanes == 2) {
      v[0] = p[0];
    } else {
      const Vector2 low = W > 1 ? Load<Vector2>(p) : Vector2{p[0], 0};
      Vector2 high{};
      if constexpr (W == 3) high[0] = p[2];
      if constexpr (W > 3) high = Load<Vector2>(p + 2);
      Vector4 first = __builtin_shufflevector(low, high, 0, 1, 2, 3);
      if constexpr (kLanes == 4) {
        v = first;
      } else {
        if constexpr (W > 3) first = Load<Vector4>(p);
        Vector2 last{};
        if constexpr (W == 5) last[0] = p[4];
        if constexpr (W == 6) last = Load<Vector2>(p + 4);
        v = __builtin_shufflevector(first, __builtin_shufflevector(last, Vector2{}, 0, 1, 2, 3), 0, 1, 2, 3,
                                    4, 5, 6, 7);
      }
    }
    return v;
  }
}

/// The same by a mask, where the processor has them. Not for what has just been stored in pieces: a load over
/// several of them waits until all are in the cache.
template <int W>
[[gnu::always_inline]] inline Vector LoadAtOnce(const double* p) {
#ifdef __AVX512F__
  if constexpr (W < kLanes) return (Vector)_mm512_maskz_loadu_pd(static_cast<__mmask8>(0xff >> (8 - W)), p);
#endif
  return LoadPieces<W>(p);
}

/// In pieces, not by a mask: a masked store lies over the elements behind it, too, and would hold up their
/// load.
template <int W, class V>
[[gnu::always_inline]] inline void StorePieces(double* p, V v) {
  if constexpr (W == kLanes) {
    Store(p, v);
  } else if constexpr (W == 1) {
    p[0] = v[0];
  } else if constexpr (W < 4) {
    Store<Vector2>(p, __builtin_shufflevector(v, v, 0, 1));
    if constexpr (W == 3) p[2] = v[2];
  } else {
    Store<Vector4>(p, __builtin_shufflevector(v, v, 0, 1, 2, 3));
    if constexpr (W == 5) p[4] = v[4];
    if constexpr (W == 6) Store<Vector2>(p + 4, __builtin_shufflevector(v, v, 4, 5));
  }
}

/// W columns, from kColumn on, of all blocks of a strip, for H vectors.
template <int H, int R, int C, int kColumn, int W>
[[gnu::always_inline]] inline void MultiplyColumns(const BlockStrip& strip, const int32_t* columns,
                                                   const StripVectors* vectors, int32_t mirrorStart) {
  // Sums by column until the end of the strip, so that nothing is added up across a row.
  Vector sums[H][R] = {};
  double u[H][R];
  for (int h = 0; h < H; ++h) {
    for (int r = 0; r < R; ++r) u[h][r] = vectors[h].v[strip.nRow + r];
  }
  const double* next = strip.pValues;
  for (int32_t block = 0; block < strip.nBlockNum; ++block, next += strip.nStride) {
    const double* const values = (strip.pScattered ? strip.pScattered[block] : next) + kColumn;
    Vector x[H], even[H], odd[H];
    double* y[H];
    for (int h = 0; h < H; ++h) {
      x[h] = LoadAtOnce<W>(vectors[h].v + columns[block] + kColumn);
      y[h] = vectors[h].mirror + (columns[block] - mirrorStart) + kColumn;
      // Two sums, for the additions to one wait for each other.
      even[h] = LoadPieces<W>(y[h]);
      odd[h] = Vector{};
    }
    for (int r = 0; r < R; ++r) {
      const Vector row = LoadAtOnce<W>(values + r * C);
      for (int h = 0; h < H; ++h) {
        sums[h][r] += row * x[h];
        (r % 2 == 0 ? even[h] : odd[h]) += row * u[h][r];
      }
    }
    for (int h = 0; h < H; ++h) StorePieces<W>(y[h], even[h] + odd[h]);
  }
  for (int h = 0; h < H; ++h) {
    for (int r = 0; r < R; ++r) {
      double sum = 0;
      for (int c = 0; c < W; ++c) sum += sums[h][r][c];
      vectors[h].out[strip.nRow + r] += sum;
    }
  }
}

template <int H, int R, int C, int kColumn = 0>
[[gnu::always_inline]] inline void MultiplyAllColumns(const BlockStrip& strip, const int32_t* columns,
                                                      const StripVectors* vectors, int32_t mirrorStart) {
  constexpr int kWidth = C - kColumn < kLanes ? C - kColumn : kLanes;
  MultiplyColumns<H, R, C, kColumn, kWidth>(strip, columns, vectors, mirrorStart);
  if constexpr (kColumn + kWidth < C) {
    MultiplyAllColumns<H, R, C, kColumn + kWidth>(strip, columns, vectors, mirrorStart);
  }
}

template <int H, int R, int C>
void MultiplyStrip(const BlockStrip& strip, const int32_t* columns, const StripVectors* vectors,
                   int32_t mirrorStart) {
  // Both vectors at once where the sums find room in the registers, or else one after the other: the strip is
  // then in the nearest cache.
  if constexpr (H * (R + 3) + 1 <= kRegisterNum) {
    MultiplyAllColumns<H, R, C>(strip, columns, vectors, mirrorStart);
  } else {
    for (int h = 0; h < H; ++h) MultiplyAllColumns<1, R, C>(strip, columns, vectors + h, mirrorStart);
  }
}

template <int R>
[[gnu::always_inline]] inline void AddColumns(const double* columns, const double* v, double* out) {
  constexpr int kWidth = R < kLanes ? R : kLanes;
  constexpr int kParts = (R + kWidth - 1) / kWidth, kLast = R - (kParts - 1) * kWidth;
  Vector sums[kParts];
  for (int part = 0; part + 1 < kParts; ++part) sums[part] = Load<Vector>(out + part * kWidth);
  sums[kParts - 1] = LoadPieces<kLast>(out + (kParts - 1) * kWidth);
  for (int c = 0; c < R; ++c) {
    for (int part = 0; part + 1 < kParts; ++part)
      sums[part] += Load<Vector>(columns + c * R + part * kWidth) * v[c];
    sums[kParts - 1] += LoadAtOnce<kLast>(columns + c * R + (kParts - 1) * kWidth) * v[c];
  }
  for (int part = 0; part + 1 < kParts; ++part) Store(out + part * kWidth, sums[part]);
  StorePieces<kLast>(out + (kParts - 1) * kWidth, sums[kParts - 1]);
}

template <int R>
void MultiplyDiagonal(const double* columns, int32_t blockNum, const double* v, double* out) {
  for (int32_t block = 0; block < blockNum; ++block, columns += R * R, v += R, out += R) {
    AddColumns<R>(columns, v, out);
  }
}

template <int R, int C>
StripKernel StripOf(int32_t vectorNum) {
  return vectorNum == 2 ? MultiplyStrip<2, R, C> : MultiplyStrip<1, R, C>;
}

StripKernel FindStrip(int32_t rows, int32_t cols, int32_t vectorNum) {
  if (rows == 6 && cols == 6) return StripOf<6, 6>(vectorNum);
  if (rows == 6 && cols == 5) return StripOf<6, 5>(vectorNum);
  if (rows == 5 && cols == 5) return StripOf<5, 5>(vectorNum);
  if (rows == 11 && cols == 11) return StripOf<11, 11>(vectorNum);
  return nullptr;
}

DiagonalKernel FindDiagonal(int32_t order) {
  if (order == 6) return MultiplyDiagonal<6>;
  if (order == 5) return MultiplyDiagonal<5>;
  if (order == 11) return MultiplyDiagonal<11>;
  return nullptr;
}

}  // namespace

template <>
BlockKernels BlockKernelsOf<InstructionSet::ORVO_SET>() {
  return {FindStrip, FindDiagonal};
}

}  // namespace orvo
