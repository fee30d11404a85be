// The fast kernels against the literal ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "gpu/FastBlock.h"
#include "gpu/LiteralRun.h"
#include "gpu/ReducedSystem.h"
#include "gpu/kernels/RayModel.h"
#include "records/UnknownLayout.h"

namespace orvo::test {
namespace {

/// What the literal kernels give, in place of a reduced system, scaled to unit diagonal.
ReducedSystem SystemOf(const LiteralRun& literal) {
  const gpu::GpuPara& para = literal.block.Para;
  ReducedSystem system;
  system.n = static_cast<int32_t>(para.nUnknownLen);
  system.nLayoutMode = static_cast<int32_t>(para.nMode);
  system.nImages = static_cast<int32_t>(para.nImageCount);
  system.nCameras = static_cast<int32_t>(para.nCameraCount);
  system.b.assign(literal.R.begin(), literal.R.end());
  system.Precond.assign(literal.M.begin(), literal.M.end());
  const UnknownLayout layout{system.nLayoutMode, system.nImages, system.nCameras, 0};
  size_t element = 0;
  for (int32_t row = 0; row < layout.PointRows(); ++row) {
    const auto size = static_cast<size_t>(layout.Position(row + 1) - layout.Position(row));
    for (size_t k = 0; k < size; element += size - k, ++k) {
      const double diagonal = system.Precond[element];
      system.Scale.push_back(diagonal > 0 ? std::sqrt(diagonal) : 1.0);
    }
  }
  return system;
}

/// Largest difference of two vectors scaled to unit diagonal, relative to the largest element.
double VectorDifference(const ReducedSystem& system, const std::vector<float>& a,
                        const std::vector<float>& b) {
  ReducedSystem other = system;
  other.b.assign(a.begin(), a.end());
  return ConstVectorError(other, b);
}

/// Rounding of single precision. Inverses of points come to a few millionths of their size in either form.
constexpr double kRounding = 1e-5;

class FastAndLiteral : public testing::TestWithParam<int> {
 protected:
  static void ExpectSame(const KernelBlock& block, double tolerance,
                         float grossWeight = gpu::kGrossRayWeight) {
    LiteralRun literal(block, grossWeight);
    FastBlock fast(block, grossWeight);
    literal.SumMatrix();
    literal.ConstVector();
    literal.Preconditioner();
    fast.RunAll();

    // The same arithmetic decides, so here nothing may differ.
    std::vector<uint32_t> flags;
    for (size_t j = 0; j < block.ImgIdx.size() / 4; ++j) {
      flags.push_back(literal.block.ImgIdx[4 * j + 3]);
      if (flags.back() == gpu::kRayIsLeftOut) continue;
      ASSERT_EQ(fast.Section().pRayResidual[2 * j], literal.block.ImgPt[4 * j + 2]);
      ASSERT_EQ(fast.Section().pRayResidual[2 * j + 1], literal.block.ImgPt[4 * j + 3]);
    }
    EXPECT_EQ(fast.PlainFlags(), flags);
    EXPECT_EQ(fast.FlagsThatDiffer(), 0);
    for (size_t k = 2; k < 4; ++k) EXPECT_NEAR(fast.Rms[k], literal.block.Rms[k], 1e-4 * fast.Rms[k]);

    const ReducedSystem system = SystemOf(literal);
    EXPECT_LE(ConstVectorError(system, fast.R), tolerance);
    EXPECT_LE(PreconditionerError(system, fast.M), tolerance);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::vector<float> d;
    for (const double scale : system.Scale) d.push_back(static_cast<float>(uniform(random) / scale));
    literal.Product(d);
    fast.MultiplyBy(d);
    EXPECT_LE(VectorDifference(system, literal.Ad, fast.Ad), tolerance);
  }
};
INSTANTIATE_TEST_SUITE_P(Layouts, FastAndLiteral, testing::ValuesIn(kAllLayouts),
                         [](const auto& of) { return LayoutNameOf(of.param); });

TEST_P(FastAndLiteral, AgreeOnRandomBlocks) {
  for (const uint32_t seed : {11u, 12u, 13u, 14u, 15u}) {
    SCOPED_TRACE(seed);
    ExpectSame(
        MakeKernelBlock({.nLayoutMode = GetParam(), .nPoints = 220, .fLeftOutShare = 0.1, .nSeed = seed}),
        kRounding);
  }
}

TEST_P(FastAndLiteral, AgreeOnGrossRays) {
  const KernelBlock block =
      MakeKernelBlock({.nLayoutMode = GetParam(), .nPoints = 220, .fGrossShare = 0.2, .fLeftOutShare = 0.1});
  ExpectSame(block, 3 * kRounding);
  ExpectSame(block, kRounding, 0.5f);
}

TEST_P(FastAndLiteral, AgreeOnMoreThanOneSweep) {
  // 18,000 rays are two sweeps of rays and seven of pairs.
  ExpectSame(
      MakeKernelBlock({.nLayoutMode = GetParam(), .nImages = 60, .nCameras = 4, .nPoints = 2800, .nSeed = 8}),
      kRounding);
}

TEST_P(FastAndLiteral, AgreeOnLongPoints) {
  ExpectSame(MakeKernelBlock({.nLayoutMode = GetParam(),
                              .nImages = 40,
                              .nPoints = 50,
                              .RayCounts = {257, 300, 530, 3, 256, 530, 300},
                              .Types = {0, 4, 0, 0, 1, 0, 4},
                              .fLeftOutShare = 0.05}),
             kRounding);
}

TEST_P(FastAndLiteral, AgreeOnControlPointsOfOneRay) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(),
                                             .nPoints = 300,
                                             .nMinRays = 1,
                                             .nMaxRays = 1,
                                             .fControlShare = 1,
                                             .fHeightShare = 0,
                                             .fCheckShare = 0});
  ExpectSame(block, kRounding);
}

}  // namespace
}  // namespace orvo::test
