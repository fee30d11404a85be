// The instruction sets that the assembly kernels are compiled for.
#pragma once

#include "normal/AssemblyKernel.h"

namespace orvo {

AssemblyKernels BaselineKernels();
AssemblyKernels Avx2Kernels();    ///< needs AVX2, FMA and POPCNT
AssemblyKernels Avx512Kernels();  ///< needs AVX-512 F, VL, DQ and BW, and FMA

}  // namespace orvo
