// Thinning of the tie points through a grid on every image.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/InputFiles.h"
#include "base/OutputLedger.h"
#include "base/Platform.h"
#include "base/RunLog.h"
#include "base/TextWriter.h"
#include "block/ResampleCells.h"
#include "block/ResampleFilter.h"
#include "block/ResampleScore.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"

namespace orvo {

/// What thinning works on.
struct Thinning {
  const AdjustmentSettings& Settings;
  FilePaths& Paths;  ///< szOvtPath becomes the new file where there is one
  const ImageTable& Images;
  const CameraTable& Cameras;
  PointStore& Points;
  InputFiles& Inputs;
  OutputLedger& Outputs;
  const Platform& System;
  RunLog& Log;
};

/// Finds the tie points that are best in a cell of an image. `keep`: one for each tie point, 1 for these.
/// `ovt`: empty for a text project. `readSection` brings a section into memory, false to end the run. Leaves
/// the sections planned and no points in memory. False after a message.
bool MarkBestPoints(const Thinning& thinning, const std::string& ovt,
                    const std::function<bool(int32_t section)>& readSection, std::vector<uint8_t>& keep);

/// Leaves the block with the marked points: in memory, as one section with those of the GCP file, or above
/// nResampleFileLimit in `newOvt` (bResampledToFile). False after a message.
bool KeepMarkedPoints(const Thinning& thinning, const std::string& ovt, const std::string& gcp,
                      const std::string& newOvt, const std::vector<uint8_t>& keep);

/// Stage of MarkBestPoints: offers the points in memory to the cells. False, with a message, at a measurement
/// that falls into none.
bool OfferSectionPoints(const Thinning& thinning, int32_t section, const std::vector<ResampleView>& views,
                        ResampleCells& cells);

/// Stage of KeepMarkedPoints: copies the selected points out of the .ovt, or where `ovt` is empty out of the
/// project, and makes pPointImageCount anew.
void KeepPoints(const Thinning& thinning, const PointSelection& selection, const std::string& ovt,
                int64_t& imagePointSum, TextWriter* newFile);

}  // namespace orvo
