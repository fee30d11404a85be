// What a guarded run notes for its verdict.
#include "run/BundleAdjustment.h"

namespace orvo {}  // namespace orvo
