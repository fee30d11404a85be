// GPS and IMU observations of the images in the normal equations of the block.
#pragma once

#include <cstdint>

#include "base/RunLog.h"
#include "normal/NormalEquations.h"
#include "normal/PosObservation.h"
#include "records/ImageTable.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// What is observed in a run.
PosModel PosModelOf(const RunLimits& limits);

/// Where the observations go.
struct PosTarget {
  UnknownLayout Layout;
  int32_t nBlockRowNum, nUnknownNum;
  bool bSparse;
  NormalEquations& Normal;
};

/// Adds the observations of every image that has one, with a message for each index that does not fit, and
/// holds the drift parameters that no image observes.
void AddPosEquations(const PosModel& model, const ImageTable& images, const PosTarget& target, RunLog& log);

}  // namespace orvo
