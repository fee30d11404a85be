#include "solver/CholeskyKernelBody.h"
#include "solver/CholeskyKernelSets.h"

namespace orvo {

CholeskyKernels Avx512Cholesky() { return KernelsOfThisFile("AVX-512"); }

}  // namespace orvo
