#include "rigorous/VarianceEstimation.h"

#include <algorithm>
#include <cmath>

namespace orvo::rigorous {
namespace {

/// By how much each standard deviation changes in this round; within what all rounds may do.
std::vector<double> NextScales(const std::vector<VarianceComponent>& components,
                               const std::vector<double>& scales, double most) {
  std::vector<double> next;
  for (size_t k = 0; k < components.size(); ++k) {
    const bool isFixed = components[k].Group == VarianceGroup::Priors;
    const double wanted = isFixed ? 1 : scales[k] * std::sqrt(components[k].Factor());
    next.push_back(std::clamp(wanted, 1 / most, most) / scales[k]);
  }
  return next;
}

double LargestChange(const std::vector<double>& scales) {
  double most = 0;
  for (const double scale : scales) most = std::max(most, std::abs(scale - 1));
  return most;
}

/// Nothing where the adjustment leaves unknowns open.
std::vector<VarianceComponent> ComponentsAt(const Problem& problem, const AdjustOptions& options,
                                            Adjuster& steps, Estimate& estimate) {
  ReducedEquations& equations = steps.EquationsAt(estimate);
  const FreeDatum datum = FreeDatumOf(problem, steps.Plan(), estimate, equations);
  const CovarianceResult covariance = CovarianceOf(steps.Plan(), datum, equations);
  if (!covariance.Covariance) return {};
  return VarianceComponentsOf(problem, steps.Plan(), steps.Chunks(), estimate, *covariance.Covariance,
                              options.nThreads);
}

}  // namespace

VarianceEstimation EstimateVariances(Problem& problem, const AdjustOptions& options,
                                     const VarianceEstimationLimits& limits, Estimate& estimate,
                                     const IterationObserver& observer) {
  Adjuster steps(problem, options);
  VarianceEstimation made;
  std::vector<double> change;
  for (int32_t round = 0;; ++round) {
    made.Last = steps.Run(estimate, options.Loss, options.nMaxIterations, observer);
    made.End = VarianceEnd::NotAdjusted;
    if (made.Last.End != AdjustEnd::Converged && made.Last.End != AdjustEnd::Stalled) return made;
    made.vComponents = ComponentsAt(problem, options, steps, estimate);
    made.End = VarianceEnd::NoPrecision;
    if (made.vComponents.empty()) return made;
    made.vScales.resize(made.vComponents.size(), 1);
    change = NextScales(made.vComponents, made.vScales, limits.fMost);
    made.End = VarianceEnd::Settled;
    if (LargestChange(change) < limits.fChange) return made;
    made.End = VarianceEnd::Rounds;
    if (round + 1 >= limits.nRounds) return made;
    ScaleDeviations(change, problem);
    for (size_t k = 0; k < change.size(); ++k) made.vScales[k] *= change[k];
  }
}

}  // namespace orvo::rigorous
