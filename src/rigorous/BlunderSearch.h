// Which measurements do not belong to their points: data snooping with the precision of each point alone.
// Baarda, A testing procedure for use in geodetic networks (1968): w = v / (sigma0 sigma sqrt(redundancy)) is
// normally distributed without a gross error. Here the redundancy of a measurement is what its point leaves
// of it, with poses and cameras as if they were known; with some hundred measurements an image, that is
// nearly all of what it lacks of 1. x and y are tested together, in the directions in which residuals tell of
// the measurement at all.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/PointChunks.h"
#include "rigorous/Problem.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

/// A ray that has been left out (its image is below 0 in the problem).
struct OutRay {
  int64_t nRay = 0;
  int32_t nImage = 0;
  int64_t nPoint = 0;
  Vector2 Residual{};  ///< against the others, unit of the measurement
  double fW = 0;       ///< of x and y together, scaled to be above the critical value as seldom as one |w|
};

/// A control point that its rays contradict, more than they do each other.
struct ControlDoubt {
  size_t nControl = 0;  ///< in Problem::vControl
  double fW = 0;        ///< of the observed coordinates together, scaled as that of a ray
};

struct BlunderLimits {
  double fCritical = 3.29;  ///< of |w|
  /// Of |w| of a left-out ray that comes back, at most; below 0: fCritical.
  double fBack = -1;
  /// Of |w| of control points: above it and that of all rays of the point, no ray is to blame.
  double fControlCritical = kNotObserved;
  double fSigma0 = 1;     ///< of a value of standard deviation 1
  double fWholesale = 0;  ///< rays with |v| / (sigma0 sigma) above it go at once; 0: none do
  int32_t nThreads = 1;
};

struct BlunderFinding {
  std::vector<OutRay> vOut;   ///< one a point, but for wholesale ones; by point
  std::vector<OutRay> vBack;  ///< those of `out` that fit the others now; by point
  std::vector<ControlDoubt> vControl;
};

/// `out` are all rays that are left out, by ray. A ray without residual goes with the wholesale ones, and
/// else stays: |w| of it is infinite. Where too few rays are left to tell, those of a point that fit each
/// other come back together.
BlunderFinding SearchBlunders(const Problem& problem, const PointChunks& chunks, const Estimate& estimate,
                              std::span<const OutRay> out, const BlunderLimits& limits);

/// The control alone.
std::vector<ControlDoubt> DoubtedControl(const Problem& problem, const Estimate& estimate,
                                         const BlunderLimits& limits);

/// Takes rays out of the problem, or back into it, and out of or into the list, which stays by ray.
void LeaveOut(const std::vector<OutRay>& rays, Problem& problem, std::vector<OutRay>& out);
void TakeBack(const std::vector<OutRay>& rays, Problem& problem, std::vector<OutRay>& out);

}  // namespace orvo::rigorous
