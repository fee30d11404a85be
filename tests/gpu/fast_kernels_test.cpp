#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "gpu/FastBlock.h"
#include "gpu/KernelBlocks.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::test {
namespace {

using gpu::Kernel;

/// Largest difference of the product with all unit vectors.
double LargestProductError(FastBlock& fast, const ReducedSystem& system) {
  double largest = 0;
  std::vector<float> d(static_cast<size_t>(system.n), 0.0f);
  for (int32_t k = 0; k < system.n; ++k) {
    d[static_cast<size_t>(k)] = 1;
    fast.MultiplyBy(d);
    d[static_cast<size_t>(k)] = 0;
    largest = std::max(largest, ProductError(system, k, fast.Ad));
  }
  return largest;
}

struct Tolerances {
  double fConstVector = 1e-5, fMatrix = 1e-6;
};

void ExpectSystem(const KernelBlock& block, Tolerances tolerances, float grossWeight = gpu::kGrossRayWeight) {
  const ReducedSystem system =
      MakeReducedSystem(block, {.fGrossWeight = static_cast<double>(grossWeight)});
  FastBlock fast(block, grossWeight);
  fast.RunAll();
  EXPECT_EQ(fast.PlainFlags(), system.Flags);
  EXPECT_EQ(fast.FlagsThatDiffer(), 0);
  EXPECT_LE(ConstVectorError(system, fast.R), tolerances.fConstVector);
  EXPECT_LE(PreconditionerError(system, fast.M), tolerances.fMatrix);
  EXPECT_LE(LargestProductError(fast, system), tolerances.fMatrix);
}

class FastKernelsOfLayout : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, FastKernelsOfLayout, testing::ValuesIn(kAllLayouts),
                         [](const auto& of) { return LayoutNameOf(of.param); });

TEST_P(FastKernelsOfLayout, AreTheReducedSystem) {
  for (const uint32_t seed : {1u, 2u, 3u}) {
    SCOPED_TRACE(seed);
    ExpectSystem(MakeKernelBlock({.nLayoutMode = GetParam(), .fLeftOutShare = 0.1, .nSeed = seed}), {});
  }
}

}  // namespace
}  // namespace orvo::test
