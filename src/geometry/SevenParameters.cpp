#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::ComputeSevenParametersFromGps() {
  LogPrintf("Error!This version has no similarity transform from GPS data!\n");
  return 0;
}

int CBundleAdjustment::ComputeSevenParametersFromGcp(const std::string& /*gcp*/) {
  LogPrintf("Error!This version has no similarity transform from control points, use fewer than 4 of them!\n");
  return 0;
}

int CBundleAdjustment::ApplySevenParameters() { return 1; }

}  // namespace orvo
