// Products of a strip of equally sized blocks, the innermost loops of the sparse solver.
#pragma once

#include <cstdint>

#include "base/simd/InstructionSet.h"

namespace orvo {

/// Blocks of one block row that have the same size.
struct BlockStrip {
  int32_t nRow = 0;  ///< scalar position of the block row
  int32_t nRows = 0, nCols = 0;
  int32_t nFirstBlock = 0;  ///< index of its first block among the column positions
  int32_t nBlockNum = 0;
  const double* pValues = nullptr;            ///< of the first block, row-major
  int64_t nStride = 0;                        ///< from one block's values to those of the next
  const double* const* pScattered = nullptr;  ///< each block's values, where they are not evenly spaced
};

/// One of the vectors that a strip is multiplied by.
struct StripVectors {
  const double* v = nullptr;
  double* out = nullptr;
  double* mirror = nullptr;  ///< what falls on the rows from mirrorStart on
};

/// Adds the strip's blocks D to both halves of the symmetric products with one or two vectors:
///   out[strip row ..)  += sum of D v[column ..)
///   mirror[column - mirrorStart ..) += D^T v[strip row ..)   for each block
/// `columns` starts at the strip's first block. No block may lie on the diagonal.
using StripKernel = void (*)(const BlockStrip& strip, const int32_t* columns, const StripVectors* vectors,
                             int32_t mirrorStart);

/// Adds the products with `blockNum` square blocks along the diagonal: the b-th block takes the b-th part of
/// v and adds to the b-th part of out. Each block column by column.
using DiagonalKernel = void (*)(const double* columns, int32_t blockNum, const double* v, double* out);

/// The kernels compiled for one instruction set; null for sizes that have no kernel of their own.
struct BlockKernels {
  StripKernel (*FindStrip)(int32_t rows, int32_t cols, int32_t vectorNum);
  DiagonalKernel (*FindDiagonal)(int32_t order);
};

/// Those of one set, BlockKernelBody.cpp. The sets give the same up to rounding, each of them the same every
/// time.
template <InstructionSet kSet>
BlockKernels BlockKernelsOf();

/// The kernel for blocks of this size and one or two vectors: laid out at compile time for 6x6, 6x5, 5x5 and
/// 11x11, general for others.
StripKernel FindStripKernel(InstructionSet set, int32_t rows, int32_t cols, int32_t vectorNum = 1);

/// The kernel for diagonal blocks of an order: 6, 5 and 11; null for others.
DiagonalKernel FindDiagonalKernel(InstructionSet set, int32_t order);

/// out += A v for one rows x cols matrix, column by column.
void AddMatrixTimesVector(const double* columns, int32_t rows, int32_t cols, const double* v, double* out);

}  // namespace orvo
