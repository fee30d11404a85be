// How long a run will still take, from how it went so far.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "report/RunObserver.h"

namespace orvo::report {

/// Iterations that are still to come: until the corrections, which fall by one factor each, are below the
/// threshold, but no further than the first that the damping holds; behind it until they have fallen by ten
/// an iteration, as the damping grows.
/// @param largest  largest correction of each iteration so far, magnitudes
int32_t IterationsLeft(std::span<const double> largest, const RunPlan& plan);

/// Is told the events of a run, with the seconds since its begin at which they came.
class TimeLeft {
 public:
  void OnPhase(RunPhase phase, double now);
  void OnCounts(const BlockCounts& counts, const RunPlan& plan);
  void OnAdvance(int32_t iteration, double share, double now);
  void OnIteration(const IterationFigure& figure, double now);
  void OnEnd() { bEnded = true; }

  /// Seconds from `now` to the end of the run; none before its first iteration has ended, for nothing is
  /// known until then, and none where a run without iterations is on its way.
  std::optional<double> Seconds(double now) const;
  /// Of the whole run, 0 to 1. Never falls.
  double Share(double now);

 private:
  double RestOfIterations(double now) const;
  double RestOfPhases(double now) const;
  /// Of what follows the iterations, and what it is taken from: one sum over all measurements.
  double PhaseSeconds(RunPhase phase) const;
  double PassSeconds() const;
  /// Of one iteration, and of the sums within it: over the last ones.
  double IterationSeconds() const;
  double SumSeconds() const;

  RunPhase Phase = RunPhase::Reading;
  double fPhaseBegin = 0;
  double fIterationBegin = 0;
  double fAdvance = 0;      ///< share of the iteration in hand
  double fAdvanceTime = 0;  ///< when that was told
  double fSums = 0;         ///< seconds that the sums of the iteration in hand took; 0: not known yet
  RunPlan Plan;
  int32_t nImages = 0;
  int64_t nMeasurements = 0;
  double fShare = 0;
  bool bEnded = false;
  bool bDirect = false;  ///< no iterative solver
  bool bDevice = false;  ///< which does the sums at a speed of its own
  std::vector<double> vDurations, vSums, vLargest;
};

}  // namespace orvo::report
