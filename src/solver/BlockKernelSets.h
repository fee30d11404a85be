// The instruction sets that the block kernels are compiled for.
#pragma once

#include "solver/BlockKernels.h"

namespace orvo {

/// Null for sizes that have no kernel of their own.
struct BlockKernelSet {
  StripKernel (*FindStrip)(int32_t rows, int32_t cols, int32_t vectorNum);
  DiagonalKernel (*FindDiagonal)(int32_t order);
};

BlockKernelSet BaselineBlockKernels();
BlockKernelSet Avx2BlockKernels();    ///< needs AVX2 and FMA
BlockKernelSet Avx512BlockKernels();  ///< needs AVX-512 F and VL

}  // namespace orvo
