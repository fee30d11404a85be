#include "solver/BlockKernelBody.h"

namespace orvo {

BlockKernelSet Avx512BlockKernels() { return {FindStrip, FindDiagonal}; }

}  // namespace orvo
