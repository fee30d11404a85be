#include "solver/BlockKernels.h"

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

BlockKernels KernelsOf(InstructionSet set) {
  return ForInstructionSet(set, []<InstructionSet kSet>() { return BlockKernelsOf<kSet>(); });
}

}  // namespace

StripKernel FindStripKernel(InstructionSet set, int32_t rows, int32_t cols, int32_t vectorNum) {
  if (const StripKernel kernel = KernelsOf(set).FindStrip(rows, cols, vectorNum)) return kernel;
  return vectorNum == 2 ? MultiplyGeneralStrip<2> : MultiplyGeneralStrip<1>;
}

DiagonalKernel FindDiagonalKernel(InstructionSet set, int32_t order) {
  return KernelsOf(set).FindDiagonal(order);
}

void AddMatrixTimesVector(const double* columns, int32_t rows, int32_t cols, const double* v, double* out) {
  for (int32_t c = 0; c < cols; ++c, columns += rows) {
    for (int32_t r = 0; r < rows; ++r) out[r] += columns[r] * v[c];
  }
}

}  // namespace orvo
