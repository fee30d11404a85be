#include "normal/AssemblyKernelBody.h"
#include "normal/AssemblyKernelSets.h"

namespace orvo {

AssemblyKernels BaselineKernels() { return KernelsOfThisFile("baseline"); }

}  // namespace orvo
