// How large the errors of each group of observations are against their stated standard deviations.
//   s2 = sum v'Pv / sum of the redundancy numbers, of the observations of a group
// is 1 on average where they were stated rightly: Förstner, Ein Verfahren zur Schätzung von Varianz- und
// Kovarianzkomponenten, Allgemeine Vermessungs-Nachrichten 86 (1979).
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/NodeCovariance.h"
#include "rigorous/PointChunks.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

enum class VarianceGroup : uint8_t {
  Measurements,  ///< of one camera
  ControlXY,
  ControlZ,
  GpsXY,
  GpsZ,
  Imu,
  Priors  ///< of cameras and drifts, one with another
};

/// With less redundancy nothing is said of a group: the standard deviation of s2 is sqrt(2 / redundancy) of
/// it.
inline constexpr double kLeastGroupRedundancy = 10;

struct VarianceComponent {
  VarianceGroup Group = VarianceGroup::Measurements;
  int32_t nCamera = -1;  ///< of measurements
  int64_t nObservations = 0;
  double fSquares = 0;  ///< v'Pv
  double fRedundancy = 0;

  bool IsKnown() const { return fRedundancy >= kLeastGroupRedundancy; }
  double Factor() const { return IsKnown() ? fSquares / fRedundancy : 1; }  ///< s2; 1 where it is not known
  double Deviation() const;  ///< of the factor, for normal errors; infinite where it is not known
};

/// Measurements by camera, then the other groups in their order, also those without observations. Together
/// they have the sum of squares and the redundancy of the adjustment. `estimate` is its minimum, with the
/// points where the equations of `covariance` had them.
std::vector<VarianceComponent> VarianceComponentsOf(const Problem& problem, const UnknownPlan& plan,
                                                    const PointChunks& chunks, const Estimate& estimate,
                                                    const NodeCovariance& covariance, int32_t threads);

/// Multiplies the standard deviations of each group of the problem by its scale, but those of priors. Held
/// and not observed values stay so. `scales` are in the order of VarianceComponentsOf.
void ScaleDeviations(const std::vector<double>& scales, Problem& problem);

}  // namespace orvo::rigorous
