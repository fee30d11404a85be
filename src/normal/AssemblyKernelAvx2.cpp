#include "normal/AssemblyKernelBody.h"
#include "normal/AssemblyKernelSets.h"

namespace orvo {

AssemblyKernels Avx2Kernels() { return KernelsOfThisFile("AVX2"); }

}  // namespace orvo
