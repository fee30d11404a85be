// The step of the iteration.
#include "run/BundleAdjustment.h"

namespace orvo {}  // namespace orvo
