// Where a guarded run looks at what its readers noticed, and ends or goes on.
#pragma once

#include "run/BundleAdjustment.h"

namespace orvo {

/// Behind the counting: false, with the refusal in the guard, where it found what doesn't fit. A classic run
/// always passes.
bool CountsHold(CBundleAdjustment& block);

/// The same when the points are read, or an .ovt is about to be. Tells what images and points the run goes on
/// without.
bool PointsHold(CBundleAdjustment& block);

/// The same where a run takes its points only to write them: reads the project from end to end for it.
bool WholeProjectHolds(CBundleAdjustment& block);

/// Keeps a finding, and tells a note to console and log.
void TellNote(CBundleAdjustment& block, const Finding& note);

}  // namespace orvo
