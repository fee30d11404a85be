// Intersection, preparation, normalisation and the similarity transform.
#include "run/BundleAdjustment.h"

namespace orvo {}  // namespace orvo
