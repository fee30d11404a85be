#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::ResamplePoints(const std::string& /*ovt*/, const std::string& /*gcp*/,
                                      const std::string& /*newOvt*/) {
  LogPrintf("Error!This version does not thin tie points, set Resampling_Points to false!\n");
  return 0;
}

}  // namespace orvo
