// Cofactors of the points and redundancy numbers of their measurements.
// With the equations of images and cameras reduced by the points, and Q their inverse,
//   Qpp = D + D B' Q B D,  D = Npp^-1,  B = N_np
// and a ray's prediction has the cofactor T Q T' + Jp D Jp' with T = Jn - Jp D B'. The redundancy matrix of
// its x and y is the unit matrix less that, in variances of the measurement: Förstner and Wrobel,
// Photogrammetric Computer Vision (2016), 4.6.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "rigorous/NodeCovariance.h"
#include "rigorous/PointChunks.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// What one ray of a point is worth. Where it is in no equation all is 0.
struct RayPrecision {
  int64_t nRay = 0;
  bool bInUse = false;
  Vector2 Residual{};    ///< unit of the measurement
  Vector2 Redundancy{};  ///< of x and y: 0 uncontrolled, 1 controlled wholly
};

struct PointPrecision {
  int64_t nPoint = 0;
  bool bDetermined = false;            ///< else all below is 0
  Matrix3 Cofactor{};                  ///< of X, Y, Z; rows of held coordinates are 0
  std::array<bool, 3> IsControlled{};  ///< coordinates that are observed, and not held
  Vector3 ControlResidual{};           ///< of these, by their standard deviations
  Vector3 ControlRedundancy{};
  std::vector<RayPrecision> vRays;  ///< where asked for
};

struct PointPrecisionOptions {
  bool bRays = false;
  /// Which points; called from any thread. All, where it is empty.
  std::function<bool(int64_t point)> Wanted = {};
  int32_t nThreads = 1;
};

/// Calls `take` for each wanted point, in their order, on one thread at a time. The same bits for any number
/// of threads.
void ForEachPointPrecision(const Problem& problem, const UnknownPlan& plan, const PointChunks& chunks,
                           const Estimate& estimate, const NodeCovariance& covariance,
                           const PointPrecisionOptions& options,
                           const std::function<void(const PointPrecision&)>& take);

}  // namespace orvo::rigorous
