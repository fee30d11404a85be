// A foreign model as a block of ours: project, tie points, sidecar, settings.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ForeignModel.h"
#include "exchange/StrictResiduals.h"

namespace orvo::exchange {

/// What was written, and what of the source was not.
struct BlockTotals {
  int64_t nImages = 0, nCameras = 0, nPoints = 0, nMeasurements = 0;
  int64_t nFewRays = 0;              ///< points in fewer than two images, left out
  int64_t nTwice = 0;                ///< further measurements of a point in an image, kept
  int64_t nTooMany = 0;              ///< measurements of a point beyond what a run takes, left out
  int64_t nWithoutRay = 0;           ///< measurements that no ray of the camera leads to, left out
  int64_t nRenamedPoints = 0;        ///< names that a project can't hold, replaced by P and a number
  ResidualSums Given;                ///< measured pixels, cameras as given, points as given
  ResidualSums Strict;               ///< image units of the project, as written before single precision
  std::vector<std::string> Written;  ///< final paths, the project first
};

/// Writes the block at options.szOut, all of its files or none, and tells counts and residuals. The points
/// are read once. Throws ExchangeFault.
BlockTotals WriteBlock(ForeignModel& model, const ImportOptions& options, ExchangeLog& log);

}  // namespace orvo::exchange
