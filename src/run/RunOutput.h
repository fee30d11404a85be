// The output folder at both ends of a run.
#pragma once

#include <string>

#include "run/EntryPoint.h"

namespace orvo {

class CBundleAdjustment;

/// Takes the output folder for the run; empty, or why the run is refused: an output would replace one of the
/// inputs, another run is writing there, or the system does not let it. Without a folder there is nothing to
/// take: the run tells that itself, and can write nothing.
std::string BeginOutput(CBundleAdjustment& block, const RunPaths& paths, bool folderIsThere);

/// Puts the files of the run in place, or throws them away, as FateOf says. What failed goes to log and
/// console, and into `outcome`.
void EndOutput(CBundleAdjustment& block, const RunOptions& options, RunOutcome& outcome);

}  // namespace orvo
