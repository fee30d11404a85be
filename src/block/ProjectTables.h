// Cameras and images of a project, and the rules by which they are deleted.
#pragma once

#include <string>

#include "base/InputFiles.h"
#include "base/RunLog.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/RunLimits.h"

namespace orvo {

/// What the reading of a project's head works on.
struct ProjectReading {
  const AdjustmentSettings& Settings;
  const RunLimits& Limits;
  ImageTable&
      Images;  ///< all but POS data; images without a measurement go where pImagePointCount knows them
  CameraTable& Cameras;
  InputFiles& Inputs;
  RunLog& Log;
};

/// Reads cameras and images, in working units, and numbers those that are kept. 1, 0 where the project can't
/// be opened, holds an image of a negative number, or reading failed, and -1 with fewer images than cameras.
int ReadProjectTables(const std::string& project, const ProjectReading& reading);

}  // namespace orvo
