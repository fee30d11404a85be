#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::SolveByPcg(double* /*x*/) {
  LogPrintf("Error!This version does not solve the sparse form, set Apply_PCG_Model to false!\n");
  return 0;
}

}  // namespace orvo
