#include "base/simd/InstructionSet.h"

namespace orvo {

const char* NameOf(InstructionSet set) {
  switch (set) {
    case InstructionSet::Avx512:
      return "AVX-512";
    case InstructionSet::Avx2:
      return "AVX2";
    default:
      return "baseline";
  }
}

InstructionSet BestInstructionSet() {
#ifdef ORVO_X86_KERNELS
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") || !__builtin_cpu_supports("popcnt"))
    return InstructionSet::Baseline;
  const bool wide = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                    __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
  return wide ? InstructionSet::Avx512 : InstructionSet::Avx2;
#else
  return InstructionSet::Baseline;
#endif
}

std::vector<InstructionSet> UsableInstructionSets() {
  std::vector<InstructionSet> sets;
  for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    if (set <= BestInstructionSet()) sets.push_back(set);
  }
  return sets;
}

}  // namespace orvo
