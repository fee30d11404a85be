// The instruction sets that the Cholesky kernels are compiled for.
#pragma once

#include "solver/CholeskyKernel.h"

namespace orvo {

CholeskyKernels BaselineCholesky();
CholeskyKernels Avx2Cholesky();    ///< needs AVX2 and FMA
CholeskyKernels Avx512Cholesky();  ///< needs AVX-512 F and VL

}  // namespace orvo
