#include "run/BundleAdjustment.h"
namespace orvo {
int CBundleAdjustment::SolveAndUpdate(int32_t) { return 0; }
}  // namespace orvo
