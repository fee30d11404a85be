// The output folder at both ends of a run.
#pragma once

#include <string>

#include "base/OutputFolder.h"
#include "base/RunLog.h"
#include "run/EntryPoint.h"

namespace orvo {

/// Takes `folder`, at `output`, for the run; empty, or why the run is refused: an output would replace one of
/// the inputs, another run is writing there, or the system does not let it. Without a folder there is nothing
/// to take: the run tells that itself, and can write nothing.
std::string BeginOutput(OutputFolder& folder, const std::string& output, const RunPaths& paths,
                        bool folderIsThere);

/// Puts the files of the run in place, or throws them away, as FateOf says. What failed goes to log and
/// console, and into `outcome`.
void EndOutput(OutputFolder& folder, RunLog& log, const RunOptions& options, RunOutcome& outcome);

}  // namespace orvo
