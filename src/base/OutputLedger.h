// What a run writes, and what became of it.
#pragma once

#include <cstdint>

#include "base/OutputFolder.h"

namespace orvo {

struct OutputLedger {
  OutputFolder Folder;           ///< where output files are written; until it has begun, at their final paths
  bool bOutputsWritten = false;  ///< the flow came to its end: every output was produced
  int32_t nOutputFailureNum = 0;  ///< output files that could not be opened or written whole
};

}  // namespace orvo
