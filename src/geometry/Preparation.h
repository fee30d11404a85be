// What the unknowns of an adjustment are, and how many.
#pragma once

#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// With this many control points the block is transformed onto them first.
inline constexpr int32_t kControlPointsForTransform = 4;

enum class LayoutFault {
  None,
  NoUnknown,  ///< nothing is to be found
  TooLarge    ///< a size does not fit into 32 bits, or the equations not into the memory
};

/// Chooses the layout, settles the switches of POS data in `limits`, and counts: block sizes, rows, unknowns.
LayoutFault LayOutUnknowns(const AdjustmentSettings& settings, const ImageTable& images,
                           const CameraTable& cameras, RunLimits& limits, UnknownCounts& unknowns);

/// The line of the log.
const char* MessageOf(LayoutFault fault);

}  // namespace orvo
