#include "run/BundleAdjustment.h"
namespace orvo {
int CBundleAdjustment::ComputeSubMatrixPosition() { return 0; }
int CBundleAdjustment::BuildNormalEquation(int32_t, int32_t, std::vector<int32_t>&) { return -1; }
int CBundleAdjustment::AddDampingCoefficients(int32_t) { return 0; }
}  // namespace orvo
