#include "base/simd/InstructionSet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace orvo {
namespace {

using Sets = std::vector<InstructionSet>;

TEST(InstructionSet, UsableOnesRiseFromTheBaselineToTheBest) {
  const Sets all = {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512};
  const Sets usable = UsableInstructionSets();
  ASSERT_FALSE(usable.empty());
  ASSERT_LE(usable.size(), all.size());
  EXPECT_TRUE(std::equal(usable.begin(), usable.end(), all.begin()));
  EXPECT_EQ(usable.back(), BestInstructionSet());
}

TEST(InstructionSet, HaveTheirNames) {
  EXPECT_STREQ(NameOf(InstructionSet::Baseline), "baseline");
  EXPECT_STREQ(NameOf(InstructionSet::Avx2), "AVX2");
  EXPECT_STREQ(NameOf(InstructionSet::Avx512), "AVX-512");
}

TEST(InstructionSet, EachUsableOneIsPickedByItself) {
  const auto which = []<InstructionSet kSet>() { return kSet; };
  for (const InstructionSet set : UsableInstructionSets()) EXPECT_EQ(ForInstructionSet(set, which), set);
  EXPECT_EQ(ForUsableSets(which), UsableInstructionSets());
}

#ifdef ORVO_X86_KERNELS
TEST(InstructionSet, NeedsAllThatItsKernelsAreCompiledWith) {
  const bool avx2 =
      __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("popcnt");
  const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
  EXPECT_EQ(BestInstructionSet() >= InstructionSet::Avx2, avx2);
  EXPECT_EQ(BestInstructionSet() >= InstructionSet::Avx512, avx2 && avx512);
}
#else
TEST(InstructionSet, IsTheBaselineElsewhere) { EXPECT_EQ(BestInstructionSet(), InstructionSet::Baseline); }
#endif

}  // namespace
}  // namespace orvo
