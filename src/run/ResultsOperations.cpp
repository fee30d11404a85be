// Result files, residual files and the report.
#include "run/BundleAdjustment.h"

namespace orvo {}  // namespace orvo
