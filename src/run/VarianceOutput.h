// Standard deviations that were estimated, as they are told.
#pragma once

#include "rigorous/VarianceEstimation.h"

namespace orvo {

class CBundleAdjustment;

/// Lines of the log: for each group of observations what its stated standard deviations were multiplied by,
/// and how well that is known.
void TellVariances(const rigorous::VarianceEstimation& made, CBundleAdjustment& run);

}  // namespace orvo
