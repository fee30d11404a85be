// From the records of a block to the problem of its adjustment.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/GcpSigma.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "records/PosSigma.h"
#include "records/RigorousSettings.h"
#include "records/RunLimits.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// All points are in memory and have been intersected; nothing is normalised. Object units are those of
/// control and GPS, image units those of the records (pixels times Image_Coor_Scale).
struct BlockParts {
  const AdjustmentSettings& Settings;  ///< what is unknown
  const RunLimits& Limits;             ///< which POS data is in force
  const RigorousSettings& Rigorous;
  const ImageTable& Images;
  const CameraTable& Cameras;
  const PointStore& Points;
  /// Of the GCP file, whose points are the last in memory, in the same order; may be empty.
  std::span<const GcpSigma> Sigmas = {};
  /// Of the POS file, by kept image; may be empty.
  std::span<const PosSigma> PosSigmas = {};
};

/// Images, cameras (rows of pIop, at least one) and strips (groups) have the places of the records. Held are
/// images that are so by the settings or their status, and those with too few rays to be found without POS
/// data.
struct BlockProblem {
  Problem Task;
  Estimate Start;
  Vector3 Origin{};                     ///< of the records less that of the problem
  ScratchVector<int64_t> vPoint;        ///< by point of the problem: in pObjectPoints
  ScratchVector<int64_t> vMeasurement;  ///< by ray: in pImagePoints
  int64_t nLeftOut = 0;                 ///< points that can't be found or have no finite coordinates
  int64_t nControl = 0;                 ///< control points that take part
};

/// Left out are measurements on deleted images or cameras, tie and check points on fewer than two images, and
/// control points without a measurement. Check points are tie points.
BlockProblem MakeBlockProblem(const BlockParts& parts);

/// The camera of each kept image, as a row of pIop; -1 where it was deleted.
std::vector<int32_t> CameraRowsOf(const ImageTable& images, const CameraTable& cameras);

}  // namespace orvo::rigorous
