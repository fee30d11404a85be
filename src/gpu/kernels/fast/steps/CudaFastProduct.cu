// The fast product, whose multiply-adds may be fused: it runs a hundred times an iteration, and nothing is
// decided by its last bit.
#include "gpu/kernels/CudaLaunch.h"
#include "gpu/kernels/fast/steps/CudaBlock.cuh"
#include "gpu/kernels/fast/steps/FastPlan.h"

namespace orvo::gpu {

int LaunchFastProduct(const KernelCall& call) {
  CudaLauncher launch;
  PlanMatrixVectorAd(call, launch);
  return launch.Status();
}

}  // namespace orvo::gpu
