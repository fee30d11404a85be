#include "solver/CholeskyKernelBody.h"
#include "solver/CholeskyKernelSets.h"

namespace orvo {

CholeskyKernels Avx2Cholesky() { return KernelsOfThisFile("AVX2"); }

}  // namespace orvo
