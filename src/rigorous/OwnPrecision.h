// Redundancy numbers of the observations that no point has a part in: GPS and IMU, and what is known
// beforehand of cameras and drifts.
// An observation with the row a, in its standard deviation, has 1 - a Q a' of the redundancy, Q the cofactors
// of the unknowns: Förstner and Wrobel, Photogrammetric Computer Vision (2016), 4.6.
#pragma once

#include <array>
#include <functional>

#include "rigorous/NodeCovariance.h"
#include "rigorous/OwnRows.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Three values that are observed together, as in OwnRows. What is not counted is 0.
struct OwnPrecision {
  OwnKind Kind = OwnKind::Gps;
  int32_t nOwner = 0;                          ///< image, camera or strip
  LensParameter Parameter = LensParameter::F;  ///< of a lens: its values are in the first place
  std::array<bool, 3> IsCounted{};
  Vector3 Residual{};    ///< by its standard deviation
  Vector3 Redundancy{};  ///< 0 uncontrolled, 1 controlled wholly; 1 of what only held unknowns have a part in
};

/// Calls `take` for all that have a counted value, on the calling thread: images first, then cameras and
/// strips.
void ForEachOwnPrecision(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                         const NodeCovariance& covariance,
                         const std::function<void(const OwnPrecision&)>& take);

}  // namespace orvo::rigorous
