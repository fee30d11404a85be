#include "solver/BlockKernelBody.h"

namespace orvo {

BlockKernelSet BaselineBlockKernels() { return {FindStrip, FindDiagonal}; }

}  // namespace orvo
