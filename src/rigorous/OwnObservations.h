// Observations that no point has a part in: GPS and IMU, and what is known beforehand of cameras and drifts.
// Each value is in force where its standard deviation is finite. A value without a finite residual, or whose
// normal equations would have no finite diagonal, is left out and counted.
#pragma once

#include <cstdint>

#include "rigorous/Problem.h"
#include "rigorous/ReducedEquations.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

struct OwnSums {
  double fSquares = 0;        ///< of r / sigma
  int64_t nObservations = 0;  ///< single values
  int64_t nNotFinite = 0;     ///< single values that could not be computed, and are in no sum
};

/// The sum of squares alone.
OwnSums SumOwnObservations(const Problem& problem, const Estimate& estimate);

/// The same, and their share of N and n, which is added. Observations of held unknowns only are in the sums.
/// `equations` are on PatternOf(problem, plan).
OwnSums AddOwnObservations(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                           ReducedEquations& equations);

}  // namespace orvo::rigorous
