// What the figures of a run are made of.
#pragma once

#include <span>

#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"
#include "verdict/RunTrack.h"

namespace orvo::report {

/// The parts of a run as they are at the moment of the call.
struct FigureSources {
  const AdjustmentSettings& Settings;
  const RunLimits& Limits;
  const ImageTable& Images;
  const CameraTable& Cameras;
  const PointStore& Points;  ///< how many points and measurements there are
  const UnknownCounts& Unknowns;
  const ObjectFrame& Frame;
  const ResidualStatistics& Residuals;
  std::span<const double> PosParams;  ///< drift parameters of the groups
  const RunTrack& Track;
};

}  // namespace orvo::report
