// The fast kernels whose numbers decide, or are small differences: here nothing is fused, so that the device
// and the processor flag the same rays.
#include "gpu/kernels/CudaLaunch.h"
#include "gpu/kernels/fast/steps/CudaBlock.cuh"
#include "gpu/kernels/fast/steps/FastPlan.h"

namespace orvo::gpu {

int LaunchFastKernel(const KernelCall& call) {
  CudaLauncher launch;
  switch (call.Which) {
    case Kernel::SumMatrix:
      PlanSumMatrix(call, launch);
      break;
    case Kernel::ConstVector:
      PlanConstVector(call, launch);
      break;
    case Kernel::Preconditioner:
      PlanPreconditioner(call, launch);
      break;
    case Kernel::PreconditionerIop:
      PlanPreconditionerIop(call, launch);
      break;
    case Kernel::MatrixVectorAd:
      return LaunchFastProduct(call);
  }
  return launch.Status();
}

}  // namespace orvo::gpu
