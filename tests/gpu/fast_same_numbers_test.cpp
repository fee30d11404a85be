// The fast kernels give the same numbers however they are run.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "gpu/FastBlock.h"
#include "gpu/KernelBlocks.h"

namespace orvo::test {
namespace {

/// All that a run leaves, bit by bit.
std::string ResultOf(FastBlock& fast) {
  fast.RunAll();
  std::mt19937 random(3);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> d(fast.D.size());
  for (float& element : d) element = uniform(random);
  std::vector<float> points = fast.PlainPoints();
  fast.MultiplyBy(d);
  std::string bits;
  const auto append = [&](const void* from, size_t bytes) {
    bits.append(static_cast<const char*>(from), bytes);
  };
  for (const auto* values : {&fast.R, &fast.M, &fast.Ad, &fast.Rms, &fast.ImgPt, &fast.ObjPt, &points})
    append(values->data(), values->size() * sizeof(float));
  append(fast.ImgIdx.data(), fast.ImgIdx.size() * sizeof(uint32_t));
  append(fast.ObjIdx.data(), fast.ObjIdx.size() * sizeof(uint32_t));
  return bits;
}

class FastNumbers : public testing::TestWithParam<int> {
 protected:
  static KernelBlock Block() {
    // Some tasks of points and of images.
    return MakeKernelBlock({.nLayoutMode = GetParam(),
                            .nImages = 70,
                            .nCameras = 3,
                            .nPoints = 3000,
                            .RayCounts = {300, 530},
                            .fGrossShare = 0.1,
                            .fLeftOutShare = 0.1});
  }
};
INSTANTIATE_TEST_SUITE_P(Layouts, FastNumbers, testing::ValuesIn(kAllLayouts),
                         [](const auto& of) { return LayoutNameOf(of.param); });

TEST_P(FastNumbers, DoNotDependOnTheNumberOfThreads) {
  const KernelBlock block = Block();
  FastBlock one(block);
  const std::string expected = ResultOf(one);
  for (const int32_t threads : {2, 5}) {
    FastBlock fast(block);
    fast.UseThreads(threads);
    EXPECT_TRUE(ResultOf(fast) == expected) << threads;
  }
}

TEST_P(FastNumbers, DoNotDependOnTheInstructionSet) {
  for (const int32_t cameras : {1, 3}) {
    KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(),
                                         .nImages = 33,
                                         .nCameras = cameras,
                                         .nPoints = 1500,
                                         .RayCounts = {300},
                                         .fGrossShare = 0.1,
                                         .fLeftOutShare = 0.1});
    FastBlock baseline(block);
    baseline.Use(gpu::FastPassesOf<InstructionSet::Baseline>());
    const std::string expected = ResultOf(baseline);
    for (const gpu::FastPasses& passes : gpu::UsableFastPasses()) {
      FastBlock fast(block);
      fast.Use(passes);
      EXPECT_TRUE(ResultOf(fast) == expected) << passes.szName;
    }
  }
}

TEST_P(FastNumbers, AreTheSameInARerun) {
  const KernelBlock block = Block();
  FastBlock fast(block), again(block);
  const std::string expected = ResultOf(fast);
  EXPECT_TRUE(ResultOf(again) == expected);
  // On the same arrays too, once the points and the thresholds are refreshed.
  again.ObjPt = FastBlock(block).ObjPt;
  again.Call.Arrays.cupObjPt = again.ObjPt.data();
  again.Rms = block.Rms;
  again.Call.Arrays.cupRms = again.Rms.data();
  EXPECT_TRUE(ResultOf(again) == expected);
}

TEST_P(FastNumbers, AreThereForSectionsOfAnySize) {
  // In ranges that don't fill the registers nothing behind the arrays is read.
  for (const gpu::FastPasses& passes : gpu::UsableFastPasses()) {
    for (int32_t points = 1; points <= 40; ++points) {
      const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(),
                                                 .nImages = 5,
                                                 .nCameras = 2,
                                                 .nPoints = points,
                                                 .nMinRays = points % 3,
                                                 .nMaxRays = points % 3 + 3,
                                                 .nSeed = static_cast<uint32_t>(points)});
      FastBlock fast(block), baseline(block);
      fast.Use(passes);
      baseline.Use(gpu::FastPassesOf<InstructionSet::Baseline>());
      EXPECT_TRUE(ResultOf(fast) == ResultOf(baseline)) << passes.szName << ", " << points << " points";
    }
  }
}

TEST_P(FastNumbers, AreZeroWithoutRays) {
  const KernelBlock block =
      MakeKernelBlock({.nLayoutMode = GetParam(), .nPoints = 4, .nMinRays = 0, .nMaxRays = 0});
  ASSERT_EQ(block.Para.nImgPt, 0);
  FastBlock fast(block);
  ResultOf(fast);
  for (const auto* values : {&fast.R, &fast.M, &fast.Ad}) {
    for (const float value : *values) EXPECT_EQ(value, 0);
  }
}

}  // namespace
}  // namespace orvo::test
