// POS records matched to the images by name, and the strip groups that follow from them.
#pragma once

#include <string>

#include "base/InputFiles.h"
#include "base/Platform.h"
#include "base/RunLog.h"
#include "records/AdjustmentSettings.h"
#include "records/ImageTable.h"
#include "records/RunLimits.h"

namespace orvo {

/// What the reading of POS data works on.
struct PosReading {
  const AdjustmentSettings& Settings;
  RunLimits& Limits;   ///< which kinds of data are in force
  ImageTable& Images;  ///< pPos, pImageGroup, nGroupNum, and fTime of the orientations
  InputFiles& Inputs;
  const Platform& System;
  RunLog& Log;
};

/// Gives the images the records of their names and forms the groups of strips, with the flight time along
/// each. False, with both POS switches cleared, where the file can't be opened.
bool MatchPosData(const std::string& pos, const PosReading& reading);

}  // namespace orvo
