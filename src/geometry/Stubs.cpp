#include "run/BundleAdjustment.h"
namespace orvo {
int CBundleAdjustment::ComputeTiePoints(int32_t) { return 1; }
int CBundleAdjustment::ComputeTiePointsThreaded(int32_t) { return 1; }
int CBundleAdjustment::PrepareAdjustment() { return 0; }
int CBundleAdjustment::ComputeNormalization() { return 1; }
int CBundleAdjustment::NormalizeData() { return 1; }
int CBundleAdjustment::RestoreData() { return 1; }
}  // namespace orvo
