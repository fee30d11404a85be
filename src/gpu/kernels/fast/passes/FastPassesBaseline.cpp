#include "gpu/kernels/fast/passes/FastPassBody.h"

namespace orvo::gpu {

FastPasses BaselinePasses() { return PassesOfThisFile("baseline"); }

}  // namespace orvo::gpu
