// What the readers of a section's points work on.
#pragma once

#include "base/InputFiles.h"
#include "base/Platform.h"
#include "base/RunLog.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"

namespace orvo {

struct SectionReading {
  const AdjustmentSettings& Settings;
  const FilePaths& Paths;
  const ImageTable& Images;
  CameraTable& Cameras;  ///< their extents grow with the measurements
  PointStore& Points;    ///< the points in memory, the range of their measurements, facts and counts
  InputFiles& Inputs;
  const Platform& System;
  RunLog& Log;
};

}  // namespace orvo
