// What a run tells while it goes on, for those who watch it.
#pragma once

#include <string>

#include "report/RunFigures.h"

namespace orvo::report {

/// Called from the thread of the run, in the order of the events. Every function may be left as it is.
class RunObserver {
 public:
  virtual ~RunObserver() = default;

  /// A phase begins; the one before has ended.
  virtual void OnPhase(RunPhase /*phase*/) {}
  /// What was read, once it is known, before the first iteration. `most`: iterations at most; `threshold`:
  /// the iterations end when the largest correction is smaller.
  virtual void OnCounts(const BlockCounts& /*counts*/, int32_t /*most*/, double /*threshold*/) {}
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
