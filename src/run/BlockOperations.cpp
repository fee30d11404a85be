// Reading of a block, its sections and POS data; thinning.
#include "run/BundleAdjustment.h"

namespace orvo {}  // namespace orvo
