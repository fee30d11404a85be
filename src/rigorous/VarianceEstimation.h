// Standard deviations of the groups of observations from their own residuals: adjust, estimate, scale, again.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/Adjust.h"
#include "rigorous/VarianceComponents.h"

namespace orvo::rigorous {

struct VarianceEstimationLimits {
  int32_t nRounds = 10;
  double fChange = 0.01;  ///< of all standard deviations; less ends the rounds
  double fMost = 1e3;     ///< what a standard deviation may become of its stated value, or one by this
};

enum class VarianceEnd : uint8_t {
  Settled,
  Rounds,       ///< nRounds
  NotAdjusted,  ///< an adjustment did not end at a minimum
  NoPrecision   ///< an adjustment leaves unknowns open
};

struct VarianceEstimation {
  VarianceEnd End = VarianceEnd::Rounds;
  AdjustResult Last;                           ///< of the last adjustment, with the scaled deviations
  std::vector<VarianceComponent> vComponents;  ///< of that
  std::vector<double> vScales;  ///< of the stated standard deviations, in the order of the components
};

/// From `estimate`, which becomes the last result, with `problem` scaled as that had it. Groups that are not
/// known well enough stay as they were stated, and so do priors.
VarianceEstimation EstimateVariances(Problem& problem, const AdjustOptions& options,
                                     const VarianceEstimationLimits& limits, Estimate& estimate,
                                     const IterationObserver& observer = {});

}  // namespace orvo::rigorous
