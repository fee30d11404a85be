// The one table of what makes a result doubtful or unusable.
#pragma once

#include <cstdint>
#include <span>

#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// docs/verdict.md tells why each is what it is, in a table that a test holds to this one.
struct VerdictLimits {
  // Unusable.
  double fRmseGrowth = 1.5;
  double fNotInFront = 5;
  double fCentresBelow = 50;
  double fLeastUsed = 50;
  // Doubtful.
  double fDecrease = 0.1;
  double fDecreaseInexact = 0.5;
  double fDecreaseCamera = 1;
  double fDecreaseCameras = 5;
  double fLastChange = 1;
  double fRmseFloor = 0.25;
  double fRmseRise = 1.1;
  double fGross = 2;
  double fFocalChange = 5;
  double fMeanErrors = 3;
  double fMeanFloor = 0.1;
  double fGroundRatio = 5;
  double fGroundPixels = 4;
  double fGroundFloor = 2;
  double fGroundDepth = 3;
  double fGroundTogether = 10;
  double fPosRatio = 6;
  double fGroupRatio = 3;
  double fLeastShared = 3;
  double fLeastWidth = 5;
  double fTilt = 20;
  double fLeastImages = 2;
  double fStartMiss = 10;
  double fMisfitRatio = 5;
  double fMisfitFloor = 5;
  double fScaleWindow = 3;
  double fSigma0 = 1.5;
  double fFocalDeviation = 1;
  double fImageDeviation = 20;
};

/// What the limit of the decrease ahead depends on.
struct DecreaseBasis {
  bool bInexact = false;  ///< the solver stops at a share of the right side: sparse form and device
  int64_t nOwnCameraUnknowns =
      0;                    ///< unknowns of cameras of which each image has its own; 0 in other layouts
  int64_t nRedundancy = 0;  ///< equations less unknowns, coordinates of points among them
};

/// That of a run, from what its settings in force and its unknowns, images and points come to.
DecreaseBasis DecreaseBasisOf(const RunLimits& limits, const UnknownCounts& unknowns,
                              const ImageTable& images, const PointStore& points);

/// Percent of the sum of squares.
double DecreaseLimit(const DecreaseBasis& basis, const VerdictLimits& limits = {});

struct VerdictLimit {
  double VerdictLimits::*pValue;
  const char* szName;
  const char* szUnit;
  const char* szMeaning;
};

std::span<const VerdictLimit> VerdictLimitTable();

}  // namespace orvo
