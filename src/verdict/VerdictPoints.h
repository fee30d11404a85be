// The last pass over the points of a guarded run.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"
#include "records/ResidualStatistics.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"
#include "verdict/PointPass.h"
#include "verdict/RunTrack.h"

namespace orvo {

using PointSpan = std::span<const ObjectPointRecord>;
using MeasurementSpan = std::span<const ImagePointRecord>;
/// Calls what it is given with the points and the measurements of each section, which it reads where they are
/// not in memory.
using EverySection = std::function<void(const std::function<void(PointSpan, MeasurementSpan)>& take)>;

/// Orientations and cameras as they are, limits from the residuals. `unit`: working image units that the
/// statistics are taken to be in.
PointPassInput PassInputOf(const AdjustmentSettings& settings, const ImageTable& images,
                           const CameraTable& cameras, const ResidualStatistics& residuals, double unit = 1);

/// The pass at the result, before coordinates are restored.
void JudgePoints(const PointPassInput& input, int threads, const EverySection& everySection, RunTrack& track);

/// From the pass: centres above and below their points, and the ground size of a pixel. In the frame of that
/// pass, so before coordinates are restored. Once.
void NoteHeights(const ImageTable& table, const CameraTable& cameras, double imageScale,
                 const ObjectFrame& frame, RunTrack& track);

/// From the pass: which images hang together. Goes over the points once more where not all do at first sight.
void CountParts(const EverySection& everySection, const ImageTable& images, const CameraTable& cameras,
                RunTrack& track);

/// What the GPS observations are held against.
struct PosSources {
  const RunLimits& Limits;
  const UnknownCounts& Unknowns;
  const ImageTable& Images;
  std::span<const double> PosParams;  ///< drift parameters of the groups
  double fCoorScale = 1;              ///< working units of a unit of the file
};

/// The misclosures of the GPS observations.
void NotePositions(const PosSources& run, RunTrack& track);

}  // namespace orvo
