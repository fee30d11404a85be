#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::BuildPosNormalEquation(int32_t /*iteration*/) {
  LogPrintf("Error!This version has no GPS and IMU observation equations!\n");
  return 0;
}

}  // namespace orvo
