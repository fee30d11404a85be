#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::ReadPosData(const std::string& /*pos*/) {
  LogPrintf("Error!This version takes no GPS or IMU data, set Apply_GPS_Data and Apply_IMU_Data to false!\n");
  return -1;
}

}  // namespace orvo
