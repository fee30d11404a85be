// The instruction sets that kernels are compiled for, and the one choice between them.
//
// cmake/InstructionSets.cmake compiles the source of a kernel once for each set with ORVO_SET as the set's
// name below, so that it can say which one it is: `template <> Kernels
// KernelsOf<InstructionSet::ORVO_SET>()`.
#pragma once

#include <vector>

namespace orvo {

/// In rising order: who runs one runs those before it.
enum class InstructionSet {
  Baseline,  ///< what every processor of the build's architecture has
  Avx2,      ///< AVX2, FMA and POPCNT
  Avx512     ///< these, and AVX-512 F, VL, DQ and BW
};

/// "baseline", "AVX2", "AVX-512"
const char* NameOf(InstructionSet set);

/// Those that this build has kernels for and this processor runs; Baseline first, the fastest last.
std::vector<InstructionSet> UsableInstructionSets();

/// The last of these.
InstructionSet BestInstructionSet();

/// pick.operator()<set>(), for a set that was compiled; Baseline in place of one that was not.
template <class Pick>
auto ForInstructionSet([[maybe_unused]] InstructionSet set, const Pick& pick) {
#ifdef ORVO_X86_KERNELS
  if (set == InstructionSet::Avx512) return pick.template operator()<InstructionSet::Avx512>();
  if (set == InstructionSet::Avx2) return pick.template operator()<InstructionSet::Avx2>();
#endif
  return pick.template operator()<InstructionSet::Baseline>();
}

/// pick.operator()<set>() of each usable set, in that order.
template <class Pick>
auto ForUsableSets(const Pick& pick) {
  std::vector<decltype(ForInstructionSet(InstructionSet::Baseline, pick))> all;
  for (const InstructionSet set : UsableInstructionSets()) all.push_back(ForInstructionSet(set, pick));
  return all;
}

}  // namespace orvo
