#include "solver/CholeskyKernel.h"

#include "solver/CholeskyKernelSets.h"

namespace orvo {

std::vector<CholeskyKernels> UsableCholeskyKernels() {
  std::vector<CholeskyKernels> sets{BaselineCholesky()};
#ifdef ORVO_X86_KERNELS
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) sets.push_back(Avx2Cholesky());
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl"))
    sets.push_back(Avx512Cholesky());
#endif
  return sets;
}

}  // namespace orvo
