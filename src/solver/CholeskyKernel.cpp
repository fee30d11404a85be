#include "solver/CholeskyKernel.h"

namespace orvo {

std::vector<CholeskyKernels> UsableCholeskyKernels() {
  return ForUsableSets([]<InstructionSet kSet>() { return CholeskyKernelsOf<kSet>(); });
}

}  // namespace orvo
