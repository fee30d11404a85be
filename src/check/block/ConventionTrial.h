// Which reading of measurements and matrices makes the rays of a block meet.
#pragma once

#include <span>
#include <vector>

#include "check/block/ImageAxes.h"
#include "check/block/MatrixReadings.h"

namespace orvo {

/// How well the rays of a sample meet under one reading.
struct ReadingTrial {
  const ImageAxes* pAxes = nullptr;
  const MatrixReading* pMatrix = nullptr;
  /// Root mean square length of the residuals, image units, of the four fifths of the points that meet best.
  double dRms = 0;
  double dAbove = 0;   ///< share of the points that lie above their cameras
  double dBehind = 0;  ///< share of the points that lie behind half their cameras or more
  int nDepartures() const { return (pAxes->szCode ? 1 : 0) + pMatrix->nDepartures; }
};

struct ConventionVerdict {
  size_t nPoints = 0;    ///< of the sample
  ReadingTrial Written;  ///< the reading as it has to be
  ReadingTrial Best;     ///< the right one
  bool bWrong = false;   ///< Written is not the right one
};

/// Fewer points tell nothing.
inline constexpr size_t kFewestTrialPoints = 8;
/// Another reading is right where it is better by the factor, its own residuals are below the limit, and
/// those of the written one above the floor.
inline constexpr double kTrialFactor = 5, kTrialLimit = 200, kTrialFloor = 10;

/// Tries all axes with all readings on points with three rays and more, or with two where there are too few.
/// Of readings that are as good, the one with fewer points above or behind the cameras is taken, then the one
/// with fewer departures. A written reading with most points behind the cameras is wrong where another one is
/// as good.
ConventionVerdict TryConventions(const SurveyBlock& block);

}  // namespace orvo
