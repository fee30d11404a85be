#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::DetectCudaDevices() {
  ConsolePrintf("This version has no device path.\n");
  return 0;
}

int CBundleAdjustment::RunGpuBundle() {
  LogPrintf("Error!This version has no device path!\n");
  return 0;
}

}  // namespace orvo
