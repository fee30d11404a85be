#include "solver/BlockKernels.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace orvo {
namespace {

/// Sums by column of the block until the end of the strip, so that one pass over a block serves both halves
/// with nothing added up across a row.
template <int R, int C>
__attribute__((always_inline)) inline void MultiplyFixedStrip(const BlockStrip& strip, const double* values,
                                                              const int32_t* columns, const double* v,
                                                              const double* u, double* out, double* mirror,
                                                              int32_t mirrorStart) {
  double sums[R][C] = {};
  for (int32_t block = 0; block < strip.nBlockNum; ++block, values += R * C) {
    const double* x = v + columns[block];
    double* y = mirror + (columns[block] - mirrorStart);
    double transposed[C];
    for (int c = 0; c < C; ++c) transposed[c] = y[c];
    for (int r = 0; r < R; ++r) {
      for (int c = 0; c < C; ++c) {
        sums[r][c] += values[r * C + c] * x[c];
        transposed[c] += values[r * C + c] * u[r];
      }
    }
    for (int c = 0; c < C; ++c) y[c] = transposed[c];
  }
  for (int r = 0; r < R; ++r) {
    double sum = 0.0;
    for (int c = 0; c < C; ++c) sum += sums[r][c];
    out[r] += sum;
  }
}

template <int R, int C>
void MultiplyStrip(const BlockStrip& strip, const double* values, const int32_t* columns, const double* v,
                   const double* u, double* out, double* mirror, int32_t mirrorStart) {
  MultiplyFixedStrip<R, C>(strip, values, columns, v, u, out, mirror, mirrorStart);
}

void MultiplyGeneralStrip(const BlockStrip& strip, const double* values, const int32_t* columns,
                          const double* v, const double* u, double* out, double* mirror,
                          int32_t mirrorStart) {
  for (int32_t block = 0; block < strip.nBlockNum; ++block) {
    const double* x = v + columns[block];
    double* y = mirror + (columns[block] - mirrorStart);
    for (int32_t r = 0; r < strip.nRows; ++r, values += strip.nCols) {
      double sum = 0.0;
      for (int32_t c = 0; c < strip.nCols; ++c) {
        sum += values[c] * x[c];
        y[c] += values[c] * u[r];
      }
      out[r] += sum;
    }
  }
}

#if defined(__x86_64__)
template <int R, int C>
__attribute__((target("avx2"))) void MultiplyStripAvx2(const BlockStrip& strip, const double* values,
                                                       const int32_t* columns, const double* v,
                                                       const double* u, double* out, double* mirror,
                                                       int32_t mirrorStart) {
  MultiplyFixedStrip<R, C>(strip, values, columns, v, u, out, mirror, mirrorStart);
}

/// The first W elements, the others 0. Without a mask: a masked store of one block, lying over the elements
/// of the next one with its unused part, would hold up the load of those.
template <int W>
__attribute__((target("avx512f"), always_inline)) inline __m512d LoadPart(const double* from) {
  if constexpr (W == 8) {
    return _mm512_loadu_pd(from);
  } else {
    static_assert(W == 3 || W == 5 || W == 6);
    __m256d first, last;
    if constexpr (W == 3) {
      first = _mm256_set_pd(0.0, from[2], from[1], from[0]);
      last = _mm256_setzero_pd();
    } else {
      first = _mm256_loadu_pd(from);
      last = _mm256_set_pd(0.0, 0.0, W == 6 ? from[W - 1] : 0.0, from[4]);
    }
    return __builtin_shufflevector(first, last, 0, 1, 2, 3, 4, 5, 6, 7);
  }
}

template <int W>
__attribute__((target("avx512f"), always_inline)) inline void StorePart(double* to, __m512d value) {
  if constexpr (W == 8) {
    _mm512_storeu_pd(to, value);
  } else if constexpr (W == 3) {
    _mm_storeu_pd(to, __builtin_shufflevector(value, value, 0, 1));
    to[2] = value[2];
  } else {
    _mm256_storeu_pd(to, __builtin_shufflevector(value, value, 0, 1, 2, 3));
    if constexpr (W == 6) _mm_storeu_pd(to + 4, __builtin_shufflevector(value, value, 4, 5));
    if constexpr (W == 5) to[4] = value[4];
  }
}

/// One part of every block row: columns kColumn to kColumn + W.
template <int R, int C, int kColumn, int W>
__attribute__((target("avx512f"), always_inline)) inline void MultiplyPart(const double* values,
                                                                           const double* x, double* y,
                                                                           const __m512d (&factor)[R],
                                                                           __m512d (&sums)[R]) {
  constexpr auto kMask = static_cast<__mmask8>(0xff >> (8 - W));
  const __m512d xs = _mm512_maskz_loadu_pd(kMask, x + kColumn);
  // Two sums, for the additions to one wait for each other.
  __m512d even = LoadPart<W>(y + kColumn), odd = _mm512_setzero_pd();
  for (int r = 0; r < R; ++r) {
    const __m512d row = _mm512_maskz_loadu_pd(kMask, values + r * C + kColumn);
    sums[r] = _mm512_fmadd_pd(row, xs, sums[r]);
    if (r % 2 == 0) even = _mm512_fmadd_pd(row, factor[r], even);
    if (r % 2 == 1) odd = _mm512_fmadd_pd(row, factor[r], odd);
  }
  StorePart<W>(y + kColumn, _mm512_add_pd(even, odd));
}

template <int R, int C>
__attribute__((target("avx512f"))) void MultiplyStripAvx512(const BlockStrip& strip, const double* values,
                                                            const int32_t* columns, const double* v,
                                                            const double* u, double* out, double* mirror,
                                                            int32_t mirrorStart) {
  constexpr int kFirst = C < 8 ? C : 8;
  __m512d sums[R], rest[R], factor[R];
  for (int r = 0; r < R; ++r) {
    sums[r] = rest[r] = _mm512_setzero_pd();
    factor[r] = _mm512_set1_pd(u[r]);
  }
  for (int32_t block = 0; block < strip.nBlockNum; ++block, values += R * C) {
    const double* x = v + columns[block];
    double* y = mirror + (columns[block] - mirrorStart);
    MultiplyPart<R, C, 0, kFirst>(values, x, y, factor, sums);
    if constexpr (C > 8) MultiplyPart<R, C, 8, C - 8>(values, x, y, factor, rest);
  }
  for (int r = 0; r < R; ++r) {
    double lanes[8];
    _mm512_storeu_pd(lanes, C > 8 ? _mm512_add_pd(sums[r], rest[r]) : sums[r]);
    double sum = 0.0;
    for (int c = 0; c < kFirst; ++c) sum += lanes[c];
    out[r] += sum;
  }
}
#endif

template <int R, int C>
StripKernel FixedKernel([[maybe_unused]] KernelForm form) {
#if defined(__x86_64__)
  if (form == KernelForm::Avx512) return MultiplyStripAvx512<R, C>;
  if (form == KernelForm::Avx2) return MultiplyStripAvx2<R, C>;
#endif
  return MultiplyStrip<R, C>;
}

}  // namespace

KernelForm BestKernelForm() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) return KernelForm::Avx512;
  if (__builtin_cpu_supports("avx2")) return KernelForm::Avx2;
#endif
  return KernelForm::Portable;
}

StripKernel FindStripKernel(KernelForm form, int32_t rows, int32_t cols) {
  if (rows == 6 && cols == 6) return FixedKernel<6, 6>(form);
  if (rows == 6 && cols == 5) return FixedKernel<6, 5>(form);
  if (rows == 5 && cols == 5) return FixedKernel<5, 5>(form);
  if (rows == 11 && cols == 11) return FixedKernel<11, 11>(form);
  return MultiplyGeneralStrip;
}

void AddMatrixTimesVector(const double* matrix, int32_t rows, int32_t cols, const double* v, double* out) {
  for (int32_t r = 0; r < rows; ++r, matrix += cols) {
    double sum = 0.0;
    for (int32_t c = 0; c < cols; ++c) sum += matrix[c] * v[c];
    out[r] += sum;
  }
}

}  // namespace orvo
