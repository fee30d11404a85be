// Observations that the rest of the adjustment contradicts: data snooping with the precision of everything.
// Rays as in BlunderSearch, but with the share that images and cameras have in their prediction; and control,
// GPS and IMU, which that does not look at. A gross error shows in its neighbours as well, so of what is
// adjusted side by side the largest alone is told.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "rigorous/NodeCovariance.h"
#include "rigorous/PointChunks.h"
#include "rigorous/Reliability.h"

namespace orvo::rigorous {

enum class SuspectKind : uint8_t { Measurement, Control, Gps, Imu };

struct Suspect {
  SuspectKind Kind = SuspectKind::Measurement;
  int64_t nPoint = -1;     ///< of a measurement or of control
  int64_t nRay = -1;       ///< of a measurement
  int32_t nImage = -1;     ///< of all but control
  int32_t nComponent = 0;  ///< x, y; X, Y, Z; or of the rotation vector
  double fResidual = 0;    ///< unit of the observation
  double fRedundancy = 0;
  Reliability Worth;
};

struct SuspectLimits {
  double fCritical = 3.29;  ///< of |w|
  double fSigma0 = 1;       ///< of a value of standard deviation 1
  int32_t nThreads = 1;
  /// Which points; called from any thread. All, where it is empty.
  std::function<bool(int64_t point)> Wanted = {};
};

/// By point: 1 where a ray may have |w| above the critical value. Found with the precision of the point
/// alone, which leaves a ray a little more redundancy than it has: w by that of everything is larger by a few
/// per cent, and points are taken from kLocalShare of the value on.
inline constexpr double kLocalShare = 0.8;
std::vector<uint8_t> DoubtfulPoints(const Problem& problem, const Estimate& estimate,
                                    const SuspectLimits& limits);

/// The largest |w| of each point, of rays and control together, and of GPS and IMU of each image, where it is
/// above the critical value: largest first, of equals in this order. The same for any number of threads.
std::vector<Suspect> SuspectsOf(const Problem& problem, const UnknownPlan& plan, const PointChunks& chunks,
                                const Estimate& estimate, const NodeCovariance& covariance,
                                const SuspectLimits& limits);

}  // namespace orvo::rigorous
