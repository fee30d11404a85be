#include "solver/BlockKernelBody.h"

namespace orvo {

BlockKernelSet Avx2BlockKernels() { return {FindStrip, FindDiagonal}; }

}  // namespace orvo
