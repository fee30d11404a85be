#include <gtest/gtest.h>

#include <vector>

#include "gpu/LiteralRun.h"
#include "gpu/kernels/literal/LiteralPairs.h"

namespace orvo::test {
namespace {

KernelBlock BlockOfCounts(const std::vector<int32_t>& counts) {
  return MakeKernelBlock({.nPoints = static_cast<int32_t>(counts.size()), .RayCounts = counts});
}

TEST(LiteralPairs, EveryNumberFindsItsPair) {
  const std::vector<std::vector<int32_t>> rows = {
      {1}, {5}, {1, 1, 1}, {3, 4, 5, 6}, {0, 4, 0, 0, 3, 0}, {300, 2, 17}, {2, 2, 2, 2, 2, 2, 2, 2, 2}};
  for (const std::vector<int32_t>& counts : rows) {
    LiteralRun run(BlockOfCounts(counts));
    uint32_t g = 0, first = 0;
    for (const int32_t count : counts) {
      const auto m = static_cast<uint32_t>(count);
      for (uint32_t a = 0; a < m; ++a) {
        for (uint32_t c = 0; c < m; ++c, ++g) {
          const gpu::RayPair pair = gpu::FindPair(run.arrays, g);
          ASSERT_EQ(pair.i, first + a) << g;
          ASSERT_EQ(pair.j, first + c) << g;
        }
      }
      first += m;
    }
    EXPECT_EQ(g, run.block.Para.nPairNum);
  }
}

TEST(LiteralPairs, TheFirstPairOfAPointEndsTheSearchEarly) {
  // With a count that is wrong for the number's remainder only the early end finds the right ray.
  LiteralRun run(BlockOfCounts({3, 4, 5}));
  run.block.ObjIdx[3 * 1 + 1] = 0;
  const gpu::RayPair pair = gpu::FindPair(run.arrays, run.block.PairPos[1]);
  EXPECT_EQ(pair.i, 3u);
  EXPECT_EQ(pair.j, 3u);
}

TEST(LiteralPairs, NumbersBehindTheLastFindNone) {
  LiteralRun run(BlockOfCounts({3, 4, 5}));
  for (const uint32_t g : {50u, 51u, 1000u, 0xffffffffu}) {
    EXPECT_EQ(gpu::FindPair(run.arrays, g).i, gpu::kNoRay) << g;
  }
}

TEST(LiteralPairs, TooLargeACountOfPairsAddsNothing) {
  KernelBlock block = MakeKernelBlock({.nPoints = 30});
  LiteralRun run(block);
  block.Para.nPairNum += 20000;
  LiteralRun more(block);
  run.SumMatrix();
  more.SumMatrix();
  const std::vector<float> ones(run.D.size(), 1.0f);
  EXPECT_EQ(more.Product(ones), run.Product(ones));
  EXPECT_EQ(more.Preconditioner(), run.Preconditioner());
}

TEST(LiteralPairs, OfAControlPointOnlyPairsOfARayWithItselfAct) {
  for (const int layout : kAllLayouts) {
    SCOPED_TRACE(LayoutNameOf(layout));
    const KernelBlock block = MakeKernelBlock(
        {.nLayoutMode = layout, .nPoints = 1, .RayCounts = {9}, .Types = {1}, .nControlWeight = 7});
    ASSERT_EQ(block.Para.nPairNum, 81);
    LiteralRun whole(block);
    whole.SumMatrix();
    const std::vector<float> ones(whole.D.size(), 1.0f);
    // The same as of nine points with one ray each.
    KernelBlock apart = block;
    apart.ObjIdx.clear();
    apart.ObjPt.clear();
    for (uint32_t a = 0; a < 9; ++a) {
      apart.ObjIdx.insert(apart.ObjIdx.end(), {1, 1, 0});
      apart.ObjPt.insert(apart.ObjPt.end(), block.ObjPt.begin(), block.ObjPt.end());
      apart.ImgIdx[4 * a + 2] = a;
    }
    NumberRays(apart);
    LiteralRun single(apart);
    single.SumMatrix();
    EXPECT_EQ(whole.Product(ones), single.Product(ones));
    EXPECT_EQ(whole.Preconditioner(), single.Preconditioner());
    EXPECT_EQ(whole.ConstVector(), single.ConstVector());
  }
}

}  // namespace
}  // namespace orvo::test
