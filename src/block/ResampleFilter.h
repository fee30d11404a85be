// The copy of the kept tie points, to memory or to a new tie-point file.
#pragma once

#include <cstdint>
#include <vector>

#include "base/RunLog.h"
#include "base/TextReader.h"
#include "base/TextWriter.h"
#include "block/OvtFile.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"

namespace orvo {

/// What the copy works on.
struct PointFiltering {
  const AdjustmentSettings& Settings;
  const ImageTable& Images;
  const CameraTable& Cameras;
  PointStore& Points;  ///< kept points are appended; nImagePointNum becomes theirs and those of the GCP
  RunLog& Log;
};

/// Which tie points are kept.
struct PointSelection {
  int64_t nTotal = 0;                ///< tie points that were counted
  const std::vector<uint8_t>& Keep;  ///< one for each of them: 0, or 1 to be kept
  int64_t nKept = 0;
};

/// Copies the kept points with all their measurements to `newFile`, or to memory where that is null. `counts`
/// (one for each point to come): their numbers of measurements. False, with a message, when the file holds
/// more points than were counted.
bool KeepOvtPoints(const PointFiltering& filtering, const PointSelection& selection, int64_t& imagePointSum,
                   std::vector<int32_t>& counts, TextWriter* newFile, OvtReader& source);

/// The same for a text project, always to memory. Points that the reader of sections leaves out have no place
/// among `selection`.
bool KeepTextPoints(const PointFiltering& filtering, const PointSelection& selection, int64_t& imagePointSum,
                    std::vector<int32_t>& counts, TextReader& file);

}  // namespace orvo
