// The residuals of an estimate, measurement by measurement and in sums.
#pragma once

#include <cstdint>
#include <vector>

#include "base/ScratchVector.h"
#include "records/PointStore.h"
#include "rigorous/BlockProblem.h"
#include "rigorous/PointPass.h"

namespace orvo::rigorous {

/// Of the rays that are in use and have a residual; unit of the measurements.
struct RayResidualSums {
  int64_t nUsed = 0;
  int64_t nLeftOut = 0;  ///< rays without an image any more, and those without residual
  double fSumX = 0, fSumY = 0, fSquaresX = 0, fSquaresY = 0;
};

/// Of a pass over `rayNum` rays; a point that is in no equation has no residuals there.
RayResidualSums SumsOfPass(const PointPassSums& pass, int64_t rayNum);

/// The same bits for any number of threads.
RayResidualSums SumRayResiduals(const Problem& problem, const Estimate& estimate, int threads);

struct RayResidual {
  int64_t nMeasurement = 0;  ///< in pImagePoints
  Vector2 Residual{};        ///< measured less predicted; 0 where there is none
  bool bLeftOut = false;
};

/// Of all rays of the problem, those that were left out among them, in the order of pImagePoints.
ScratchVector<RayResidual> RayResidualsOf(const BlockProblem& problem, const Estimate& estimate,
                                          const PointStore& points);

}  // namespace orvo::rigorous
