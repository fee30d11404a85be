// The device path.
#include "run/BundleAdjustment.h"

namespace orvo {}  // namespace orvo
