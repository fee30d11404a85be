#include "normal/AssemblyKernelBody.h"
#include "normal/AssemblyKernelSets.h"

namespace orvo {

AssemblyKernels Avx512Kernels() { return KernelsOfThisFile("AVX-512"); }

}  // namespace orvo
