// What a run tells while it goes on, for those who watch it.
#pragma once

#include <cstdint>
#include <string>

#include "report/RunFigures.h"

namespace orvo::report {

/// What is known of a run's length before its first iteration.
struct RunPlan {
  int32_t nMost = 0;           ///< iterations at most
  int32_t nHeld = INT32_MAX;   ///< the first iteration, from 1, whose damping leaves next to nothing to move
  double fThreshold = 0;       ///< the iterations end when the largest correction is smaller
  bool bWritesPoints = false;  ///< the tie points are written, as the project came with a file of them
  bool bDrawsPage = true;      ///< report.html is written
};

/// Called from the thread of the run, in the order of the events. Every function may be left as it is.
class RunObserver {
 public:
  virtual ~RunObserver() = default;

  /// A phase begins; the one before has ended.
  virtual void OnPhase(RunPhase /*phase*/) {}
  /// What was read, once it is known, before the first iteration.
  virtual void OnCounts(const BlockCounts& /*counts*/, const RunPlan& /*plan*/) {}
  /// The iteration in hand, from 1, has come so far, 0 to 1.
  virtual void OnAdvance(int32_t /*iteration*/, double /*share*/) {}
  /// An iteration has ended.
  virtual void OnIteration(const IterationFigure& /*figure*/) {}
  /// What is told to the user as a finding while the run goes on.
  virtual void OnFinding(const Finding& /*finding*/) {}
  /// The run has ended, with all its figures.
  virtual void OnEnd(const RunFigures& /*figures*/) {}
};

}  // namespace orvo::report
