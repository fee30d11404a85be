#include "solver/BlockKernels.h"

#include "solver/BlockKernelSets.h"

namespace orvo {
namespace {

template <int kVectorNum>
void MultiplyGeneralStrip(const BlockStrip& strip, const int32_t* columns, const StripVectors* vectors,
                          int32_t mirrorStart) {
  const double* next = strip.pValues;
  for (int32_t block = 0; block < strip.nBlockNum; ++block, next += strip.nStride) {
    const double* const values = strip.pScattered ? strip.pScattered[block] : next;
    for (int h = 0; h < kVectorNum; ++h) {
      const double* x = vectors[h].v + columns[block];
      const double* u = vectors[h].v + strip.nRow;
      double* y = vectors[h].mirror + (columns[block] - mirrorStart);
      for (int32_t r = 0; r < strip.nRows; ++r) {
        const double* row = values + static_cast<int64_t>(r) * strip.nCols;
        double sum = 0.0;
        for (int32_t c = 0; c < strip.nCols; ++c) {
          sum += row[c] * x[c];
          y[c] += row[c] * u[r];
        }
        vectors[h].out[strip.nRow + r] += sum;
      }
    }
  }
}

BlockKernelSet SetOf([[maybe_unused]] KernelForm form) {
#ifdef ORVO_X86_KERNELS
  if (form == KernelForm::Avx512) return Avx512BlockKernels();
  if (form == KernelForm::Avx2) return Avx2BlockKernels();
#endif
  return BaselineBlockKernels();
}

}  // namespace

KernelForm BestKernelForm() {
#ifdef ORVO_X86_KERNELS
  const bool fma = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (fma && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl"))
    return KernelForm::Avx512;
  if (fma) return KernelForm::Avx2;
#endif
  return KernelForm::Portable;
}

StripKernel FindStripKernel(KernelForm form, int32_t rows, int32_t cols, int32_t vectorNum) {
  if (const StripKernel kernel = SetOf(form).FindStrip(rows, cols, vectorNum)) return kernel;
  return vectorNum == 2 ? MultiplyGeneralStrip<2> : MultiplyGeneralStrip<1>;
}

DiagonalKernel FindDiagonalKernel(KernelForm form, int32_t order) { return SetOf(form).FindDiagonal(order); }

void AddMatrixTimesVector(const double* columns, int32_t rows, int32_t cols, const double* v, double* out) {
  for (int32_t c = 0; c < cols; ++c, columns += rows) {
    for (int32_t r = 0; r < rows; ++r) out[r] += columns[r] * v[c];
  }
}

}  // namespace orvo
