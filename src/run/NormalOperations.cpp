// The reduced normal equations: pattern, assembly, POS observations, damping.
#include "run/BundleAdjustment.h"

namespace orvo {}  // namespace orvo
