#include "gpu/kernels/fast/passes/FastPassBody.h"

namespace orvo::gpu {

FastPasses Avx512Passes() { return PassesOfThisFile("AVX-512"); }

}  // namespace orvo::gpu
