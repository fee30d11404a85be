// The points of a run, section by section, for the file of its result.
#pragma once

#include "results/ResultOvt.h"

namespace orvo {

class CBundleAdjustment;

/// As the run reads, intersects and judges them. Refers to the run.
OvtSections SectionsOfRun(CBundleAdjustment& run);

}  // namespace orvo
