// Object points from their rays.
#pragma once

#include <cstdint>
#include <span>

#include "block/Records.h"

namespace orvo {

/// True when the measurement stands on a kept image and a kept camera. Others take no part in anything.
inline bool IsOnKeptImage(const ImagePointRecord& point, std::span<const EopRecord> eop,
                          std::span<const IopRecord> iop) {
  return point.nImage >= 0 && static_cast<size_t>(point.nImage) < eop.size() && point.nCamera >= 0 &&
         static_cast<size_t>(point.nCamera) < iop.size();
}

/// Intersects `pointCount` points from their measurements in `imagePoints` (the points' nFirstImagePoint and
/// nImagePointNum index it) and writes X, Y, Z back, except that in a call for more than one point those of
/// type 1 keep theirs. A point without a unique solution keeps its coordinates. Returns 1.
int IntersectPoints(int64_t pointCount, ObjectPointRecord* objectPoints,
                    std::span<const ImagePointRecord> imagePoints, std::span<const EopRecord> eop,
                    std::span<const IopRecord> iop);

/// The same, and the differences new minus old of check points (type 2) and control points (type 1): mean and
/// RMSE per axis, six values each, 0 where there is none.
int IntersectPointsWithStatistics(int64_t pointCount, ObjectPointRecord* objectPoints,
                                  std::span<const ImagePointRecord> imagePoints,
                                  std::span<const EopRecord> eop, std::span<const IopRecord> iop,
                                  double* checkResidual, double* controlResidual);

}  // namespace orvo
