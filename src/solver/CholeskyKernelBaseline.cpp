#include "solver/CholeskyKernelBody.h"
#include "solver/CholeskyKernelSets.h"

namespace orvo {

CholeskyKernels BaselineCholesky() { return KernelsOfThisFile("baseline"); }

}  // namespace orvo
