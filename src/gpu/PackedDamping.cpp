#include "gpu/PackedDamping.h"

namespace orvo::gpu {

double PackedDampingFactor(const DampingSchedule& schedule, int32_t iteration) {
  const int32_t plain = schedule.bSevenParamApplied ? schedule.nGcpIterations : schedule.nFreeIterations;
  if (iteration <= plain) return schedule.fCoefficient;
  const double base = schedule.bSevenParamApplied ? 0.1 * schedule.fBase : 1000.0 * schedule.fBase;
  return PowerBySquaring(base, iteration) * schedule.fCoefficient;
}

double ChoosePackedDamping(const AdjustmentSettings& settings, bool sevenParamApplied, int32_t iteration,
                           RunLimits& limits) {
  constexpr int32_t kRoughIterations = 2;
  // Deliberate: the settings of these two never reach the solution.
  limits.PCG_IGN_Converge_Threshold = 0.1;
  limits.Max_PCG_Iteration_Num = iteration <= kRoughIterations ? 30 : 10;
  const DampingSchedule schedule{sevenParamApplied, settings.Free_LM_Iteration_Num,
                                 settings.GCP_LM_Iteration_Num, settings.Damping_Coefficient,
                                 settings.fDampingBase};
  return PackedDampingFactor(schedule, iteration);
}

void AddPackedDamping(const PackedBlocks& blocks, double mu, std::vector<double>& M,
                      std::vector<double>& damp) {
  for (const PackedBlocks::Run& run : blocks.vRuns) {
    double* diagonal = M.data() + run.nPacked;
    double* out = damp.data() + run.nUnknown;
    for (int64_t block = 0; block < run.nCount; ++block) {
      for (int32_t row = 0; row < run.nSize; ++row) {
        *out = mu * *diagonal;
        *diagonal += *out++;
        diagonal += run.nSize - row;
      }
    }
  }
}

void AddDampingProduct(const PackedBlocks& blocks, const std::vector<double>& damp,
                       const std::vector<double>& v, std::vector<double>& out) {
  for (const PackedBlocks::Run& run : blocks.vRuns) {
    if (run.bPos) continue;
    const auto first = static_cast<size_t>(run.nUnknown);
    const size_t end = first + static_cast<size_t>(run.nCount * run.nSize);
    for (size_t k = first; k < end; ++k) out[k] += damp[k] * v[k];
  }
}

}  // namespace orvo::gpu
