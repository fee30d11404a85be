// The memory that each form of an adjustment of a block would take.
#pragma once

#include <cstdint>

#include "records/SurveyBlock.h"
#include "records/UnknownLayout.h"

namespace orvo::info {

/// With images and cameras unknown, without POS groups, and all points in memory at once: what thinning takes
/// away and sections divide is not reckoned with. Bytes.
struct MemoryFigures {
  LayoutMode Layout = LayoutEopIop;
  LayoutSizes Sizes;
  int64_t nBlocks = 0;       ///< of the upper block triangle that points fill
  int64_t nRecordBytes = 0;  ///< points and measurements, with their residuals
  int64_t nStoreBytes = 0;   ///< the blocks, for each assembly thread
  double dDenseBytes = 0;    ///< the whole run in the dense form, in doubles for it may be any
  double dSparseBytes = 0;   ///< in the sparse form
  double dDeviceBytes = 0;   ///< on a device, of whose memory 64 per cent are used
};

/// `threads`: that assemble.
MemoryFigures MemoryOf(const SurveyBlock& block, int threads);

}  // namespace orvo::info
