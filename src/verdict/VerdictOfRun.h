// The figures of a finished run, its verdict, and verdict.txt.
#pragma once

#include <span>
#include <string>

#include "base/OutputLedger.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"
#include "verdict/GroundPoints.h"
#include "verdict/Judge.h"
#include "verdict/RunTrack.h"

namespace orvo {

/// What a verdict looks at, with coordinates as in the files.
struct JudgedRun {
  const AdjustmentSettings& Settings;
  const RunLimits& Limits;
  const FilePaths& Paths;
  const ImageTable& Images;
  const CameraTable& Cameras;
  const PointStore& Points;  ///< how many points and measurements there are
  const UnknownCounts& Unknowns;
  std::span<const double> PosParams;  ///< drift parameters of the groups
  const RunTrack& Track;
};

/// Collects the figures of the run, with the points of the GCP file, and judges.
Verdict JudgeRun(const JudgedRun& run, const GroundPoints& ground);

/// For a run that ended early, over a similarity transform that was not found: what is wrong with its points.
/// `track` counts the transform as applied.
Verdict JudgeFailure(const RunTrack& track, const std::string& gcpPath);

/// Writes verdict.txt. A failure is counted in `outputs`.
void WriteVerdictFile(const Verdict& verdict, const FilePaths& paths, OutputLedger& outputs);

}  // namespace orvo
