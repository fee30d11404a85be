// The fast kernels against the reduced system in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "gpu/FastBlock.h"
#include "gpu/ReducedSystem.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::test {
namespace {

using gpu::Kernel;

/// A misclosure is the small difference of two coordinates, and comes with the rounding of these. Here all
/// differences have one sign, so that they add up and the rounding doesn't.
KernelBlock MakeMisclosedBlock(const KernelBlockOptions& options) {
  KernelBlock block = MakeKernelBlock(options);
  for (size_t j = 0; j < block.ImgPt.size() / 4; ++j) block.ImgPt[4 * j] += 0.15f;
  return block;
}

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

struct Errors {
  double fConstVector, fPreconditioner, fProduct, fInverse, fSolved;
};

Errors ErrorsOf(FastBlock& fast, const KernelBlock& block, const ReducedSystem& system) {
  fast.RunAll();
  Errors errors{};
  const std::vector<float> points = fast.PlainPoints();
  errors.fInverse = InverseError(system, block, points);
  errors.fSolved = SolvedVectorError(system, block, points);
  errors.fConstVector = ConstVectorError(system, fast.R);
  errors.fPreconditioner = PreconditionerError(system, fast.M);
  errors.fProduct = LargestProductError(fast, system);
  return errors;
}

struct Tolerances {
  double fConstVector = 1e-5, fMatrix = 1e-6;
};

void ExpectSystem(const KernelBlock& block, const Tolerances& tolerances = {},
                  float grossWeight = gpu::kGrossRayWeight) {
  const ReducedSystem system = MakeReducedSystem(block, {.fGrossWeight = static_cast<double>(grossWeight)});
  FastBlock fast(block, grossWeight);
  const Errors errors = ErrorsOf(fast, block, system);
  EXPECT_EQ(fast.PlainFlags(), system.Flags);
  EXPECT_EQ(fast.FlagsThatDiffer(), 0);
  EXPECT_LE(errors.fInverse, 1e-5);
  EXPECT_LE(errors.fSolved, 2e-5);
  EXPECT_LE(errors.fConstVector, tolerances.fConstVector);
  EXPECT_LE(errors.fPreconditioner, tolerances.fMatrix);
  EXPECT_LE(errors.fProduct, tolerances.fMatrix);
}

class FastKernelsOfLayout : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, FastKernelsOfLayout, testing::ValuesIn(kAllLayouts),
                         [](const auto& of) { return LayoutNameOf(of.param); });

TEST_P(FastKernelsOfLayout, AreTheReducedSystem) {
  for (const uint32_t seed : {1u, 2u, 3u}) {
    for (const double leftOut : {0.0, 0.1}) {
      SCOPED_TRACE(testing::Message() << seed << ", left out " << leftOut);
      ExpectSystem(MakeMisclosedBlock({.nLayoutMode = GetParam(), .fLeftOutShare = leftOut, .nSeed = seed}));
    }
  }
}

TEST_P(FastKernelsOfLayout, AreTheReducedSystemWithOneCamera) {
  ExpectSystem(MakeMisclosedBlock({.nLayoutMode = GetParam(), .nCameras = 1, .fLeftOutShare = 0.1}));
}

TEST_P(FastKernelsOfLayout, AreTheReducedSystemWithACameraForEachImage) {
  ExpectSystem(MakeMisclosedBlock({.nLayoutMode = GetParam(), .nImages = 20, .nCameras = 20}));
}

TEST_P(FastKernelsOfLayout, AreTheReducedSystemWithGrossRays) {
  const KernelBlock block =
      MakeKernelBlock({.nLayoutMode = GetParam(), .fGrossShare = 0.2, .fLeftOutShare = 0.1});
  ExpectSystem(block, {1e-4, 3e-4});
}

TEST_P(FastKernelsOfLayout, CountTheWeightOfAGrossRayAsOftenAsStated) {
  // At a weight that shows it. Column 10 of the constant vector is where it counts twice.
  const KernelBlock block =
      MakeKernelBlock({.nLayoutMode = GetParam(), .fHeightShare = 0, .fGrossShare = 0.3});
  ExpectSystem(block, {1e-5, 1e-6}, 0.5f);
  if (GetParam() == LayoutEop) return;
  const ReducedSystem once = MakeReducedSystem(block, {.bDeviceRules = false, .fGrossWeight = 0.5});
  FastBlock fast(block, 0.5f);
  fast.RunAll();
  EXPECT_GT(ConstVectorError(once, fast.R), 1e-3);
}

TEST_P(FastKernelsOfLayout, LeavePosUnknownsAlone) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(), .nPosGroups = 2});
  FastBlock fast(block);
  fast.RunAll();
  fast.MultiplyBy(std::vector<float>(fast.D.size(), 1.0f));
  for (size_t k = fast.R.size() - 12; k < fast.R.size(); ++k) {
    EXPECT_EQ(fast.R[k], 0);
    EXPECT_EQ(fast.Ad[k], 0);
  }
  for (size_t k = fast.M.size() - 42; k < fast.M.size(); ++k) EXPECT_EQ(fast.M[k], 0);
  EXPECT_NE(fast.R[fast.R.size() - 13], 0);
  EXPECT_NE(fast.Ad[fast.Ad.size() - 13], 0);
  EXPECT_NE(fast.M[fast.M.size() - 43], 0);
}

TEST_P(FastKernelsOfLayout, AddToWhatIsThere) {
  FastBlock fast(MakeKernelBlock({.nLayoutMode = GetParam()}));
  fast.RunAll();
  const std::vector<float> M = fast.M, R = fast.R;
  std::fill(fast.R.begin(), fast.R.end(), 1e6f);
  gpu::KernelCall call = fast.Call;
  call.Which = Kernel::ConstVector;
  WorkerPool pool(1);
  gpu::RunFastKernel(call, pool);
  for (size_t k = 0; k < R.size(); ++k) EXPECT_EQ(fast.R[k], 1e6f + R[k]);
  fast.Run(Kernel::Preconditioner);
  fast.Run(Kernel::PreconditionerIop);
  for (size_t k = 0; k < M.size(); ++k) EXPECT_NEAR(fast.M[k], 2 * M[k], 1e-6 * std::fabs(M[k]));
}

TEST(FastSumMatrix, SumsResidualsOfTheRaysThatCount) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 400, .fGrossShare = 0.2, .fLeftOutShare = 0.2});
  const ReducedSystem system = MakeReducedSystem(block);
  FastBlock fast(block);
  fast.Run(Kernel::SumMatrix);
  for (size_t k = 0; k < 4; ++k)
    EXPECT_NEAR(fast.Rms[k], system.fSums[k], k < 2 ? 2e-4 : 1e-7 * system.fSums[k]) << k;
  const gpu::FastSection section = fast.Section();
  for (size_t j = 0; j < system.Residuals.size(); ++j)
    EXPECT_NEAR(section.pRayResidual[j], system.Residuals[j], 1e-5);

  FastBlock skipping(block);
  skipping.Call.Para.nSkipStatistics = 1;
  skipping.Run(Kernel::SumMatrix);
  EXPECT_EQ(skipping.Rms, block.Rms);
  EXPECT_EQ(skipping.PlainFlags(), fast.PlainFlags());
}

TEST(FastSumMatrix, BothOrdersOfTheRaysFindTheSameGrossOnesWhereRoundingDecides) {
  KernelBlock block = MakeKernelBlock({.nPoints = 300, .fControlShare = 0, .fHeightShare = 0});
  block.Para.nGrossFactor100 = 100;
  FastBlock first(block);
  first.Run(Kernel::SumMatrix);
  const gpu::FastSection section = first.Section();
  int64_t gross = 0;
  for (int64_t j = 0; j < section.n; j += 7) {
    const int64_t at = 2 * j + j % 2;
    const float limit = std::fabs(section.pRayResidual[at]);
    for (const bool below : {false, true}) {
      KernelBlock one = block;
      one.Rms[2] = one.Rms[3] = 1e30f;
      one.Rms[static_cast<size_t>(2 + j % 2)] = below ? std::nextafter(limit, 0.0f) : limit;
      FastBlock fast(one);
      fast.Run(Kernel::SumMatrix);
      ASSERT_EQ(fast.PlainFlags()[static_cast<size_t>(j)] == gpu::kRayIsGross,
                below && block.Type(block.ImgIdx[4 * static_cast<size_t>(j) + 2]) == 0)
          << j;
      ASSERT_EQ(fast.FlagsThatDiffer(), 0) << j;
      gross += std::ranges::count(fast.PlainFlags(), gpu::kRayIsGross);
    }
  }
  EXPECT_GT(gross, section.n);
}

TEST(FastSumMatrix, ClearsTheFlagsOfTheIterationBefore) {
  const KernelBlock block = MakeKernelBlock({.fGrossShare = 0.3});
  FastBlock fast(block);
  fast.Run(Kernel::SumMatrix);
  EXPECT_GT(std::ranges::count(fast.PlainFlags(), gpu::kRayIsGross), 50);
  fast.Rms[2] = fast.Rms[3] = 100;
  fast.Run(Kernel::SumMatrix);
  EXPECT_EQ(std::ranges::count(fast.PlainFlags(), gpu::kRayIsGross), 0);
  EXPECT_EQ(fast.FlagsThatDiffer(), 0);
}

TEST(FastProduct, AControlPointPassesNothingFromImageToImage) {
  // Not even what is not a number: the point lies in the plane of image 0's projection centre.
  KernelBlock block = MakeKernelBlock({.nPoints = 40, .RayCounts = {5}, .Types = {1}});
  uint32_t bad = block.ImgIdx[0];
  for (int k = 0; k < 3; ++k)
    block.ObjPt[static_cast<size_t>(k)] = block.Eop[6 * bad + static_cast<uint32_t>(k)];
  FastBlock fast(block);
  fast.RunAll();
  fast.MultiplyBy(std::vector<float>(fast.D.size(), 1.0f));
  for (uint32_t image = 0; image < 12; ++image) {
    EXPECT_EQ(std::isfinite(fast.R[6 * image]), image != bad) << image;
    EXPECT_EQ(std::isfinite(fast.M[21 * image]), image != bad) << image;
    EXPECT_EQ(std::isfinite(fast.Ad[6 * image]), image != bad) << image;
  }
}

// ---- What blocks of 256 rays do to the points at their ends

struct BoundaryCase {
  const char* szName;
  KernelBlockOptions Options;
};

class FastBoundary : public testing::TestWithParam<BoundaryCase> {};

TEST_P(FastBoundary, IsThatOfTheDevice) {
  for (const int layout : kAllLayouts) {
    KernelBlockOptions options = GetParam().Options;
    options.nLayoutMode = layout;
    SCOPED_TRACE(LayoutNameOf(layout));
    const KernelBlock block = MakeMisclosedBlock(options);
    const ReducedSystem system = MakeReducedSystem(block);
    FastBlock fast(block);
    const Errors errors = ErrorsOf(fast, block, system);
    EXPECT_LE(errors.fInverse, 1e-5);
    EXPECT_LE(errors.fSolved, 2e-5);
    EXPECT_LE(errors.fConstVector, 2e-5);
    EXPECT_LE(errors.fPreconditioner, 5e-6);
    EXPECT_LE(errors.fProduct, 5e-6);
    // And it is seen.
    const ReducedSystem without = MakeReducedSystem(block, {.bBoundaries = false});
    EXPECT_GT(InverseError(without, block, fast.PlainPoints()), 1e-3);
    EXPECT_GT(PreconditionerError(without, fast.M), 1e-5);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FastBoundary,
    testing::Values(BoundaryCase{"FirstPointOfASmallSection", {.nPoints = 30, .Types = {0}}},
                    BoundaryCase{"FirstPointOfExactly256Rays",
                                 {.nPoints = 32, .nMinRays = 8, .nMaxRays = 8, .Types = {0}}},
                    BoundaryCase{"FirstPointWhenAPointEndsAt255",
                                 {.nPoints = 64, .nMinRays = 8, .nMaxRays = 8, .Types = {0}}},
                    BoundaryCase{"FirstPointInHeight", {.nPoints = 30, .Types = {4}}},
                    BoundaryCase{"FirstPointInHeightWhenAPointEndsAt255",
                                 {.nPoints = 64, .nMinRays = 8, .nMaxRays = 8, .Types = {4}}},
                    BoundaryCase{"PointOf530RaysLosesTheLast",
                                 {.nPoints = 40, .RayCounts = {6, 6, 530}, .Types = {0, 0, 0}}},
                    BoundaryCase{"PointOf300RaysAcrossThreeBlocks",
                                 {.nPoints = 60, .RayCounts = {6, 240, 300}, .Types = {0, 0, 0}}},
                    BoundaryCase{"FirstPointOf530Rays", {.nPoints = 40, .RayCounts = {530}, .Types = {0}}},
                    BoundaryCase{"PointBelowItsRecord",
                                 {.nPoints = 60, .RayCounts = {530, 300}, .Types = {0, 0}}},
                    BoundaryCase{"PointInHeightBelowItsRecord",
                                 {.nPoints = 60, .RayCounts = {530, 300, 300, 300}, .Types = {0, 4, 4, 0}}}),
    [](const auto& of) { return std::string(of.param.szName); });

TEST(FastBoundaries, PointsOf257RaysAreWhole) {
  for (const int layout : kAllLayouts) {
    const KernelBlock block = MakeMisclosedBlock(
        {.nLayoutMode = layout, .nPoints = 60, .RayCounts = {257, 257, 3, 257}, .Types = {0, 0, 0, 0}});
    const ReducedSystem system = MakeReducedSystem(block, {.bBoundaries = false});
    FastBlock fast(block);
    const Errors errors = ErrorsOf(fast, block, system);
    EXPECT_LE(errors.fInverse, 1e-5);
    EXPECT_LE(errors.fConstVector, 2e-5);
    EXPECT_LE(errors.fPreconditioner, 5e-6);
    EXPECT_LE(errors.fProduct, 5e-6);
  }
}

TEST(FastBoundaries, AFirstPointInHeightReadsItsInverse) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 30, .Types = {4}});
  const auto weight = static_cast<float>(block.Para.nControlWeight);
  // The inverse that it reads: that of a block whose first rays are followed by a point that has a tail.
  const KernelBlock longer = MakeKernelBlock({.nPoints = 70, .RayCounts = {}, .Types = {4}});
  FastBlock fast(block), whole(longer);
  fast.Run(Kernel::SumMatrix);
  whole.Run(Kernel::SumMatrix);
  ASSERT_EQ(block.RayCount(0), longer.RayCount(0));
  const std::vector<float> P = fast.PlainPoints(), first = whole.PlainPoints();
  for (size_t k = 3; k < 8; ++k) EXPECT_EQ(P[k], 0);
  EXPECT_EQ(P[8], weight);
  EXPECT_EQ(P[9], 0);
  EXPECT_EQ(P[10], 0);
  EXPECT_NE(first[5], 0);
  EXPECT_EQ(P[11], weight * (first[5] * weight));
}

TEST(FastBoundaries, AFirstPointInHeightWithoutRaysReadsTheUpload) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 30, .RayCounts = {0}, .Types = {4}});
  const auto weight = static_cast<float>(block.Para.nControlWeight);
  FastBlock fast(block);
  fast.Run(Kernel::SumMatrix);
  EXPECT_EQ(fast.PlainPoints()[8], weight);
  EXPECT_EQ(fast.PlainPoints()[11], weight * (block.ObjPt[5] * weight));
}

TEST(FastBoundaries, APointBelowItsRecordKeepsItsUpload) {
  const KernelBlock block =
      MakeKernelBlock({.nPoints = 20, .RayCounts = {530, 300, 300}, .Types = {0, 4, 0}});
  FastBlock fast(block);
  fast.Run(Kernel::SumMatrix);
  const std::vector<float> points = fast.PlainPoints();
  for (size_t k = 0; k < 12; ++k) {
    EXPECT_EQ(points[12 + k], block.ObjPt[12 + k]) << k;
    EXPECT_EQ(points[24 + k], block.ObjPt[24 + k]) << k;
  }
  EXPECT_NE(points[12 + 3], 0);
}

TEST(FastSumMatrix, ASingularBlockStandsInForItsInverse) {
  // Gross rays alone weigh too little for a determinant.
  KernelBlock block = MakeKernelBlock({.nPoints = 100, .RayCounts = {5, 4}, .Types = {0, 0}});
  for (size_t j = 5; j < 9; ++j) block.ImgPt[4 * j] += 1.5f;
  const ReducedSystem system = MakeReducedSystem(block);
  FastBlock fast(block);
  fast.Run(Kernel::SumMatrix);
  const std::vector<float> points = fast.PlainPoints();
  EXPECT_LE(InverseError(system, block, points), 1e-5);
  EXPECT_GT(points[12 + 3], 0);
  EXPECT_LT(points[12 + 3], 1e-6);
}

}  // namespace
}  // namespace orvo::test
