#include "gpu/kernels/fast/passes/FastPassBody.h"

namespace orvo::gpu {

FastPasses Avx2Passes() { return PassesOfThisFile("AVX2"); }

}  // namespace orvo::gpu
