// Constant vector, preconditioner and product of the literal kernels against the explicit reduced system, on
// blocks scaled to unit diagonal.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "gpu/LiteralRun.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::test {
namespace {

struct Bounds {
  double fConstVector, fMatrix;
};
constexpr Bounds kPlain = {1e-5, 1e-6}, kGross = {1e-4, 3e-4};

/// `step` leaves unit vectors out where the pairs are many.
void ExpectBlock(const KernelBlock& block, const Bounds& bounds, float grossWeight = gpu::kGrossRayWeight,
                 int32_t step = 1) {
  const ReducedSystem system = MakeReducedSystem(block, {.fGrossWeight = grossWeight});
  LiteralRun run(block, grossWeight);
  run.SumMatrix();
  EXPECT_LE(ConstVectorError(system, run.ConstVector()), bounds.fConstVector);
  EXPECT_LE(PreconditionerError(system, run.Preconditioner()), bounds.fMatrix);
  EXPECT_LE(run.ProductsError(system, step), bounds.fMatrix);
}

class LiteralOfLayout : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, LiteralOfLayout, testing::ValuesIn(kAllLayouts),
                         [](const auto& of) { return LayoutNameOf(of.param); });

TEST_P(LiteralOfLayout, RandomBlocks) {
  for (const uint32_t seed : {1u, 2u, 3u}) {
    SCOPED_TRACE(seed);
    ExpectBlock(MakeKernelBlock({.nLayoutMode = GetParam(), .nSeed = seed}), kPlain);
  }
}

TEST_P(LiteralOfLayout, RandomBlocksWithRaysLeftOut) {
  ExpectBlock(MakeKernelBlock({.nLayoutMode = GetParam(), .fLeftOutShare = 0.2}), kPlain);
}

TEST_P(LiteralOfLayout, OneCamera) {
  ExpectBlock(MakeKernelBlock({.nLayoutMode = GetParam(), .nCameras = 1}), kPlain);
}

TEST_P(LiteralOfLayout, GrossRays) {
  for (const uint32_t seed : {1u, 2u, 3u}) {
    SCOPED_TRACE(seed);
    ExpectBlock(MakeKernelBlock({.nLayoutMode = GetParam(), .fGrossShare = 0.3, .nSeed = seed}), kGross);
  }
}

TEST_P(LiteralOfLayout, GrossRaysAtHalfTheWeight) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(), .fGrossShare = 0.3});
  ExpectBlock(block, kPlain, 0.5f);
}

TEST_P(LiteralOfLayout, LongPoints) {
  struct Row {
    const char* name;
    std::vector<int32_t> counts;
    std::vector<uint32_t> types;
    bool gross;
  };
  const Row rows[] = {{"257 from 5", {5, 257}, {0, 0}, false},
                      {"257 of type 1", {5, 257}, {0, 1}, false},
                      {"300 from 250", {125, 125, 300}, {0, 2, 0}, false},
                      {"300 from 250, some gross", {125, 125, 300}, {0, 2, 0}, true},
                      {"530 from 0", {530}, {4}, false},
                      {"530 from 100, some gross", {100, 530}, {0, 0}, true}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(),
                                               .nImages = 5,
                                               .nCameras = 2,
                                               .nMaxRays = 5,
                                               .RayCounts = row.counts,
                                               .Types = row.types,
                                               .fGrossShare = row.gross ? 0.2 : 0.0,
                                               .fLeftOutShare = row.gross ? 0.1 : 0.0});
    // A point of 530 rays has 280,900 pairs.
    const bool long530 = row.counts.back() == 530 && GetParam() != LayoutIop;
    ExpectBlock(block, kPlain, row.gross ? 0.5f : gpu::kGrossRayWeight, long530 ? 4 : 1);
  }
}

TEST_P(LiteralOfLayout, PointZeroOfEveryTypeFinishedFromZeroSums) {
  for (const uint32_t type : {0u, 1u, 2u}) {
    SCOPED_TRACE(type);
    ExpectBlock(
        MakeKernelBlock(
            {.nLayoutMode = GetParam(), .nPoints = 100, .nMinRays = 8, .nMaxRays = 8, .Types = {type}}),
        kPlain);
  }
}

TEST_P(LiteralOfLayout, AHeightPointZeroWeighsInvertedOnTheUnknowns) {
  // The control weight itself stands in for the inverse, so the matrix is far from definite.
  const KernelBlock block =
      MakeKernelBlock({.nLayoutMode = GetParam(), .nPoints = 30, .nMinRays = 8, .nMaxRays = 8, .Types = {4}});
  const ReducedSystem system = MakeReducedSystem(block);
  ASSERT_EQ(system.P[5], 10);
  ExpectBlock(block, {1e-4, 1e-5});
}

TEST_P(LiteralOfLayout, AFullChunkOfRays) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(),
                                             .nImages = 8,
                                             .nCameras = 2,
                                             .nPoints = 2048,
                                             .nMinRays = 8,
                                             .nMaxRays = 8});
  ASSERT_EQ(block.Para.nImgPt, 16384);
  ASSERT_EQ(block.Para.nPairNum % 16384, 0);
  const ReducedSystem system = MakeReducedSystem(block);
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_LE(ConstVectorError(system, run.ConstVector()), 1e-5);
  EXPECT_LE(PreconditionerError(system, run.Preconditioner()), 1e-6);
  for (const int32_t k : {0, system.n / 2, system.n - 1}) {
    std::vector<float> unit(run.D.size(), 0.0f);
    unit[static_cast<size_t>(k)] = 1;
    EXPECT_LE(ProductError(system, k, run.Product(unit)), 1e-6) << k;
  }
}

TEST_P(LiteralOfLayout, ProductsWithAnyVector) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam()});
  const ReducedSystem system = MakeReducedSystem(block);
  LiteralRun run(block);
  run.SumMatrix();
  std::vector<float> d(run.D.size());
  for (size_t k = 0; k < d.size(); ++k)
    d[k] = static_cast<float>(std::sin(static_cast<double>(k)) / system.Scale[k]);
  EXPECT_LE(ProductError(system, d, run.Product(d)), 1e-5);
}

TEST_P(LiteralOfLayout, PosUnknownsAreNeitherReadNorWritten) {
  const KernelBlock plain = MakeKernelBlock({.nLayoutMode = GetParam(), .fGrossShare = 0.1});
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(), .fGrossShare = 0.1, .nPosGroups = 2});
  LiteralRun without(plain), run(block);
  without.SumMatrix();
  run.SumMatrix();
  const size_t n = without.R.size(), precond = without.M.size();
  ASSERT_EQ(run.R.size(), n + 12);
  ASSERT_EQ(run.M.size(), precond + 42);
  std::vector<float> d(n + 12, 1.0f);
  for (size_t k = n; k < n + 12; ++k) d[k] = std::numeric_limits<float>::quiet_NaN();
  std::vector<float> R = without.ConstVector(), M = without.Preconditioner(),
                     Ad = without.Product(std::vector<float>(n, 1.0f));
  R.resize(n + 12);
  M.resize(precond + 42);
  Ad.resize(n + 12);
  EXPECT_EQ(run.ConstVector(), R);
  EXPECT_EQ(run.Preconditioner(), M);
  EXPECT_EQ(run.Product(d), Ad);
}

TEST_P(LiteralOfLayout, NothingReadsTheInverseOfAControlPoint) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = GetParam(), .Types = {0, 1, 1}});
  LiteralRun run(block), spoilt(block);
  run.SumMatrix();
  spoilt.SumMatrix();
  for (size_t o = 0; o < block.ObjIdx.size() / 3; ++o) {
    if (block.Type(o) != 1) continue;
    for (size_t k = 3; k < 12; ++k) spoilt.block.ObjPt[12 * o + k] = std::numeric_limits<float>::quiet_NaN();
  }
  const std::vector<float> ones(run.D.size(), 1.0f);
  EXPECT_EQ(spoilt.ConstVector(), run.ConstVector());
  EXPECT_EQ(spoilt.Preconditioner(), run.Preconditioner());
  EXPECT_EQ(spoilt.Product(ones), run.Product(ones));
}

TEST_P(LiteralOfLayout, TheOtherRayOfAPairNeverWeighsAsControl) {
  // Were it so, the elimination of the points of type 4 would outweigh all else.
  for (const int32_t weight : {0, 1, 50}) {
    SCOPED_TRACE(weight);
    ExpectBlock(
        MakeKernelBlock(
            {.nLayoutMode = GetParam(), .fControlShare = 0.2, .fHeightShare = 0.5, .nControlWeight = weight}),
        weight == 0 ? Bounds{2e-5, 5e-6} : kPlain);
  }
}

TEST_P(LiteralOfLayout, AHeightPointWithOneRayIsEliminated) {
  // One ray and an observed height make a regular block: both terms of the pair of the ray with itself act.
  KernelBlockOptions options = {.nLayoutMode = GetParam(), .RayCounts = {7, 1, 1, 1}, .Types = {0, 4, 4, 4}};
  const KernelBlock block = MakeKernelBlock(options);
  ExpectBlock(block, kPlain);
  KernelBlock control = block;
  for (size_t o = 1; o < 4; ++o) control.ObjIdx[3 * o] = 1;
  control.Para.nControlWeight = 1;
  LiteralRun eliminated(block), kept(control);
  eliminated.SumMatrix();
  kept.SumMatrix();
  EXPECT_NE(eliminated.ConstVector(), kept.ConstVector());
}

TEST_P(LiteralOfLayout, ASingularBlockStandsInForItsInverse) {
  KernelBlock block =
      MakeKernelBlock({.nLayoutMode = GetParam(), .RayCounts = {6, 2, 1, 6}, .Types = {0, 0, 0, 0}});
  for (size_t j = 6; j < 9; ++j) block.ImgPt[4 * j] += 1.5f;
  ASSERT_LT(MakeReducedSystem(block).P[6], 1e-6);
  ExpectBlock(block, kPlain);
}

TEST(LiteralConstVector, TheWeightEntersTheLastColumnTwice) {
  KernelBlock block = MakeKernelBlock({.nLayoutMode = LayoutIop, .fGrossShare = 0.3});
  const ReducedSystem twice = MakeReducedSystem(block, {.fGrossWeight = 0.5});
  LiteralRun run(block, 0.5f);
  run.SumMatrix();
  EXPECT_LE(ConstVectorError(twice, run.ConstVector()), 1e-5);
  // With the weight taken once, every k2 differs, and nothing else.
  KernelBlock noHeights = block;
  for (size_t o = 0; o < noHeights.ObjIdx.size() / 3; ++o) {
    if (noHeights.Type(o) == 4) noHeights.ObjIdx[3 * o] = 2;
  }
  const ReducedSystem with = MakeReducedSystem(noHeights, {.fGrossWeight = 0.5}),
                      once = MakeReducedSystem(noHeights, {.bDeviceRules = false, .fGrossWeight = 0.5});
  LiteralRun plain(noHeights, 0.5f);
  plain.SumMatrix();
  const std::vector<float>& R = plain.ConstVector();
  double largest = 0;
  for (size_t k = 0; k < R.size(); ++k) largest = std::max(largest, std::fabs(with.b[k]) / with.Scale[k]);
  for (size_t k = 0; k < R.size(); ++k) {
    const double difference = std::fabs(R[k] - once.b[k]) / once.Scale[k] / largest;
    if (k % 5 == 4) {
      EXPECT_GT(difference, 1e-4) << k;
    } else {
      EXPECT_LE(difference, 1e-5) << k;
    }
  }
}

TEST(LiteralConstVector, AddsToWhatStandsThere) {
  LiteralRun run(MakeKernelBlock({}));
  run.SumMatrix();
  const std::vector<float> once = run.ConstVector();
  std::fill(run.tR.begin(), run.tR.end(), 0.0f);
  std::fill(run.R.begin(), run.R.end(), 0.0f);
  run.R[3] = 1000;
  gpu::ComputeConstVector(run.arrays, run.fGrossWeight);
  EXPECT_NEAR(run.R[3], once[3] + 1000, 1e-3);
  EXPECT_EQ(run.R[4], once[4]);
}

TEST(LiteralPreconditioner, EachKernelFillsItsPartOnly) {
  const KernelBlock block = MakeKernelBlock({.nLayoutMode = LayoutEopIop});
  const size_t images = 21 * block.Images();
  LiteralRun run(block);
  run.SumMatrix();
  gpu::ComputePreconditionerGPU(run.arrays, run.fGrossWeight);
  const std::vector<float> first = run.M;
  for (size_t k = images; k < first.size(); ++k) EXPECT_EQ(first[k], 0.0f);
  gpu::ComputePreconditionerGPU_IOP(run.arrays, run.fGrossWeight);
  // The copies still hold the image part: it is not added a second time.
  for (size_t k = 0; k < images; ++k) EXPECT_EQ(run.M[k], first[k]);
  for (size_t c = 0; c < 3; ++c) EXPECT_GT(run.M[images + 15 * c], 0.0f);
}

TEST(LiteralPreconditioner, AnImageTakesOfAPointsTwoRaysNoCommonTerm) {
  // Every ray of a point in one image: the block keeps more than the matrix has.
  const KernelBlock block =
      MakeKernelBlock({.nLayoutMode = LayoutEop, .nImages = 3, .nPoints = 40, .nMinRays = 9, .nMaxRays = 9});
  const ReducedSystem system = MakeReducedSystem(block);
  EXPECT_GT(system.Precond[0], 1.01 * system.S[0]);
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_LE(PreconditionerError(system, run.Preconditioner()), 2e-6);
}

}  // namespace
}  // namespace orvo::test
