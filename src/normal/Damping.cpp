#include "normal/Damping.h"

#include <cmath>

namespace orvo {

double PowerBySquaring(double base, int32_t exponent) {
  double result = 1.0;
  for (auto left = static_cast<uint32_t>(std::abs(static_cast<int64_t>(exponent))); left > 0; left >>= 1) {
    if (left & 1) result *= base;
    base *= base;
  }
  return exponent < 0 ? 1.0 / result : result;
}

DampingSchedule ScheduleOf(const AdjustmentSettings& settings, bool sevenParamApplied) {
  return {sevenParamApplied, settings.Free_LM_Iteration_Num, settings.GCP_LM_Iteration_Num,
          settings.Damping_Coefficient, settings.fDampingBase};
}

RunLimits LimitsOfIteration(RunLimits limits) {
  // Deliberate: the settings of these two never reach the solver.
  limits.PCG_IGN_Converge_Threshold = 0.1;
  limits.Max_PCG_Iteration_Num = 300;
  return limits;
}

double DampingFactor(const DampingSchedule& schedule, int32_t iteration) {
  if (schedule.bSevenParamApplied) {
    if (iteration <= schedule.nGcpIterations) return schedule.fCoefficient;
    return std::pow(10.0, static_cast<double>(iteration)) * schedule.fCoefficient;
  }
  if (iteration <= schedule.nFreeIterations) return schedule.fCoefficient;
  return PowerBySquaring(100.0 * schedule.fBase, iteration) * schedule.fCoefficient;
}

int32_t IterationsAtMost(const DampingSchedule& schedule, int32_t most) {
  constexpr double kFrozen = 1e8;
  int32_t iteration = 0;
  while (iteration + 1 < most && !(DampingFactor(schedule, iteration) >= kFrozen)) ++iteration;
  // There is one at least.
  return iteration + 1;
}

int32_t FirstHeldIteration(const DampingSchedule& schedule, int32_t most) {
  constexpr double kHeld = 1;
  int32_t iteration = 0;
  while (iteration < most && !(DampingFactor(schedule, iteration) > kHeld)) ++iteration;
  return iteration + 1;
}

}  // namespace orvo
