// The end of a run whose files can't be read.
#pragma once

#include "base/InputFiles.h"
#include "base/RunLog.h"

namespace orvo {

/// True when a file that the run reads failed: the run has to end. Says so, once. Not for threads beside that
/// of the run.
inline bool ReadingFailed(InputFiles& inputs, RunLog& log) {
  if (!inputs.Any()) return false;
  if (inputs.TakeUntold()) log.Print("Error!Reading failed: %s!\n", FaultText(inputs.First()).c_str());
  return true;
}

}  // namespace orvo
