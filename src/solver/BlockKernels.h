// Products of a strip of equally sized blocks, the innermost loops of the sparse solver.
#pragma once

#include <cstdint>

namespace orvo {

/// Blocks of one block row that have the same size, one behind the other.
struct BlockStrip {
  int32_t nRow = 0;  ///< scalar position of the block row
  int32_t nRows = 0, nCols = 0;
  int32_t nFirstBlock = 0;  ///< index of its first block among the column positions
  int32_t nBlockNum = 0;
  int64_t nOffset = 0;  ///< of its first value; the blocks follow each other, row-major
};

/// Adds the strip's blocks D to both halves of a symmetric product:
///   out[0 .. rows)  += sum of D v[column ..)
///   mirror[column - mirrorStart ..) += D^T u[0 .. rows)   for each block
/// `values` and `columns` start at the strip's first block; u is v at the strip's row, so that no block may
/// lie on the diagonal.
using StripKernel = void (*)(const BlockStrip& strip, const double* values, const int32_t* columns,
                             const double* v, const double* u, double* out, double* mirror,
                             int32_t mirrorStart);

/// The forms of a kernel. Portable and Avx2 give the same bits, Avx512 the same up to rounding.
enum class KernelForm { Portable, Avx2, Avx512 };

/// The fastest form that this processor runs; it runs those before it in the list, too.
KernelForm BestKernelForm();

/// The kernel for blocks of this size: laid out at compile time for 6x6, 6x5, 5x5 and 11x11, general for
/// others.
StripKernel FindStripKernel(KernelForm form, int32_t rows, int32_t cols);

/// out += A v for one row-major rows x cols matrix.
void AddMatrixTimesVector(const double* matrix, int32_t rows, int32_t cols, const double* v, double* out);

}  // namespace orvo
