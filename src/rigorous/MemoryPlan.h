// Whether a block fits into memory, and how much of its points may be there if not.
#pragma once

#include <cstdint>

#include "records/RigorousSettings.h"

namespace orvo::rigorous {

struct BlockCounts {
  int64_t nImages = 0, nPoints = 0, nRays = 0;
};

struct MemoryPlan {
  bool bFits = true;
  int64_t nPointBytes = 0;     ///< of records, problem and estimates
  int64_t nResidentBytes = 0;  ///< of them, in memory at a time; all where they fit
};

/// In four fifths of the free memory. What belongs to images has to fit: it is taken to be 40 kB each, and as
/// much again for the factor that precision comes from.
MemoryPlan PlanMemory(const BlockCounts& counts, PrecisionExtent precision, int64_t freeBytes);

}  // namespace orvo::rigorous
