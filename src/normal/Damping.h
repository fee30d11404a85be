// The damping schedule of the iteration.
#pragma once

#include <cstdint>

#include "records/AdjustmentSettings.h"
#include "records/RunLimits.h"

namespace orvo {

/// base to the power `exponent` by repeated squaring; a negative exponent gives the reciprocal.
double PowerBySquaring(double base, int32_t exponent);

struct DampingSchedule {
  bool bSevenParamApplied = false;
  int32_t nFreeIterations = 4;
  int32_t nGcpIterations = 4;
  double fCoefficient = 0.001;
  double fBase = 1000.0;
};

/// `sevenParamApplied`: control points oriented the block.
DampingSchedule ScheduleOf(const AdjustmentSettings& settings, bool sevenParamApplied);

/// The limits that the step of an iteration is solved under: the settings of the iterative solution's never
/// reach it.
RunLimits LimitsOfIteration(RunLimits limits);

/// The factor mu of iteration k. The coefficient alone while k does not exceed the free iterations; after
/// that it is multiplied by 10 to the power k where control points oriented the block, otherwise by 100 fBase
/// to the power k, which freezes the block at once.
double DampingFactor(const DampingSchedule& schedule, int32_t iteration);

/// How many iterations there can be: `most`, or fewer where the damping lets no unknown move any longer, so
/// that the corrections fall below any threshold.
int32_t IterationsAtMost(const DampingSchedule& schedule, int32_t most);

/// Number, from 1, of the first iteration whose damping outweighs the equations, `most` + 1 where none of
/// `most` does: a run that has not converged by then ends there or soon after.
int32_t FirstHeldIteration(const DampingSchedule& schedule, int32_t most);

}  // namespace orvo
