#include "solver/BlockKernels.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace orvo {
namespace {

/// Sums by column of the block until the end of the strip, so that one pass over a block serves both halves
/// with nothing added up across a row.
template <int R, int C>
void MultiplyStrip(const BlockStrip& strip, const double* values, const int32_t* columns, const double* v,
                   const double* u, double* out, double* mirror, int32_t mirrorStart) {
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
/// A block row of C elements in one or two registers, the rest of the last one masked off.
template <int R, int C>
__attribute__((target("avx512f"))) void MultiplyStripAvx512(const BlockStrip& strip, const double* values,
                                                            const int32_t* columns, const double* v,
                                                            const double* u, double* out, double* mirror,
                                                            int32_t mirrorStart) {
  constexpr int kParts = (C + 7) / 8;
  constexpr __mmask8 kLast = static_cast<__mmask8>(0xff >> (8 * kParts - C));
  __m512d sums[R][kParts], factor[R];
  for (int r = 0; r < R; ++r) {
    for (int part = 0; part < kParts; ++part) sums[r][part] = _mm512_setzero_pd();
    factor[r] = _mm512_set1_pd(u[r]);
  }
  for (int32_t block = 0; block < strip.nBlockNum; ++block, values += R * C) {
    const double* x = v + columns[block];
    double* y = mirror + (columns[block] - mirrorStart);
    for (int part = 0; part < kParts; ++part) {
      const __mmask8 mask = part + 1 < kParts ? 0xff : kLast;
      const __m512d xs = _mm512_maskz_loadu_pd(mask, x + 8 * part);
      __m512d ys = _mm512_maskz_loadu_pd(mask, y + 8 * part);
      for (int r = 0; r < R; ++r) {
        const __m512d row = _mm512_maskz_loadu_pd(mask, values + r * C + 8 * part);
        sums[r][part] = _mm512_fmadd_pd(row, xs, sums[r][part]);
        ys = _mm512_fmadd_pd(row, factor[r], ys);
      }
      _mm512_mask_storeu_pd(y + 8 * part, mask, ys);
    }
  }
  for (int r = 0; r < R; ++r) {
    double lanes[8 * kParts];
    for (int part = 0; part < kParts; ++part) _mm512_storeu_pd(lanes + 8 * part, sums[r][part]);
    double sum = 0.0;
    for (int c = 0; c < C; ++c) sum += lanes[c];
    out[r] += sum;
  }
}
#endif

template <int R, int C>
StripKernel FixedKernel([[maybe_unused]] KernelForm form) {
#if defined(__x86_64__)
  if (form == KernelForm::Avx512) return MultiplyStripAvx512<R, C>;
#endif
  return MultiplyStrip<R, C>;
}

}  // namespace

KernelForm BestKernelForm() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) return KernelForm::Avx512;
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
