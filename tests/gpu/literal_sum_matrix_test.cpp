#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

#include "gpu/LiteralRun.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::test {
namespace {

constexpr double kInverse = 2e-5, kSolved = 2e-5;

void ExpectPoints(const LiteralRun& run, const ReducedSystem& system) {
  EXPECT_LE(InverseError(system, run.block, run.block.ObjPt), kInverse);
  EXPECT_LE(SolvedVectorError(system, run.block, run.block.ObjPt), kSolved);
}

/// A point of type 0 that starts in one block of 256 rays and ends in the next.
size_t FindCrossingPoint(const KernelBlock& block) {
  for (size_t o = 1; o < block.ObjIdx.size() / 3; ++o) {
    if (block.Type(o) == 0 && block.FirstRay(o) / 256 != (block.FirstRay(o) + block.RayCount(o) - 1) / 256)
      return o;
  }
  return 0;
}

struct Rows {
  const char* name;
  KernelBlockOptions options;
};

TEST(LiteralSumMatrix, ResidualsFlagsSumsAndPoints) {
  const Rows rows[] = {
      {"plain", {}},
      {"one image point", {.nPoints = 1, .RayCounts = {1}, .Types = {4}}},
      {"one block", {.nPoints = 30, .nMaxRays = 8}},
      {"gross", {.fGrossShare = 0.2}},
      {"left out", {.fLeftOutShare = 0.2}},
      {"gross and left out", {.nLayoutMode = LayoutIop, .fGrossShare = 0.2, .fLeftOutShare = 0.2}},
      {"merged", {.nLayoutMode = LayoutMergedEopIop, .fGrossShare = 0.1}},
      {"257 from 0", {.nPoints = 40, .RayCounts = {257}, .Types = {0}}},
      {"257 from 5", {.nPoints = 40, .RayCounts = {5, 257}, .Types = {0, 0}}},
      {"257 from 255", {.nPoints = 40, .RayCounts = {100, 100, 55, 257}, .Types = {0, 0, 0, 2}}},
      {"257 from 511", {.nPoints = 60, .RayCounts = {200, 200, 111, 257}, .Types = {0, 0, 0, 0}}},
      {"300 from 250", {.nPoints = 40, .RayCounts = {125, 125, 300}, .Types = {0, 0, 0}}},
      {"530 from 0", {.nPoints = 40, .RayCounts = {530}, .Types = {4}}},
      {"530 from 100", {.nPoints = 40, .RayCounts = {100, 530}, .Types = {0, 4}}},
      {"gross 530", {.nPoints = 40, .RayCounts = {100, 530}, .Types = {0, 0}, .fGrossShare = 0.2}},
      {"many", {.nPoints = 6000}},
  };
  for (const Rows& row : rows) {
    SCOPED_TRACE(row.name);
    const KernelBlock block = MakeKernelBlock(row.options);
    const ReducedSystem system = MakeReducedSystem(block);
    LiteralRun run(block);
    run.SumMatrix();
    ExpectPoints(run, system);
    for (size_t j = 0; j < system.Flags.size(); ++j) {
      ASSERT_EQ(run.Flag(j), system.Flags[j]) << j;
      ASSERT_NEAR(run.block.ImgPt[4 * j + 2], system.Residuals[2 * j], 1e-5) << j;
      ASSERT_NEAR(run.block.ImgPt[4 * j + 3], system.Residuals[2 * j + 1], 1e-5) << j;
    }
    for (int k = 0; k < 4; ++k)
      EXPECT_NEAR(run.block.Rms[k], system.fSums[k], 2e-5 * (1 + system.fSums[2])) << k;
  }
}

TEST(LiteralSumMatrix, MeasurementsAndPositionsStayAsTheyAre) {
  const KernelBlock block = MakeKernelBlock({.fGrossShare = 0.2});
  LiteralRun run(block);
  run.SumMatrix();
  for (size_t j = 0; j < block.ImgPt.size() / 4; ++j) {
    for (size_t k = 0; k < 2; ++k) EXPECT_EQ(run.block.ImgPt[4 * j + k], block.ImgPt[4 * j + k]);
    for (size_t k = 0; k < 3; ++k) EXPECT_EQ(run.block.ImgIdx[4 * j + k], block.ImgIdx[4 * j + k]);
  }
  for (size_t o = 0; o < block.ObjPt.size() / 12; ++o) {
    for (size_t k = 0; k < 3; ++k) EXPECT_EQ(run.block.ObjPt[12 * o + k], block.ObjPt[12 * o + k]);
  }
}

TEST(LiteralSumMatrix, AFullChunkTakesOneMoreThatStaysEmpty) {
  const KernelBlock block =
      MakeKernelBlock({.nPoints = 2048, .nMinRays = 8, .nMaxRays = 8, .fHeightShare = 0.05});
  ASSERT_EQ(block.Para.nImgPt, 16384);
  LiteralRun run(block);
  ASSERT_EQ(run.TR.size(), 2u * 1280);
  run.SumMatrix();
  // Points of 8 rays never cross a block's end: no record is used, in neither chunk.
  for (const float value : run.TR) EXPECT_EQ(value, 0.0f);
  ExpectPoints(run, MakeReducedSystem(block));
}

TEST(LiteralSumMatrix, AChunksLastPointRunsIntoTheNextChunk) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 2400, .nMinRays = 7, .nMaxRays = 7});
  const size_t crossing = 16384 / 7;
  ASSERT_EQ(16384 % 7, 4);
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_EQ(run.TR[20 * 63], static_cast<float>(crossing));
  EXPECT_EQ(run.TR[20 * 64 + 10], static_cast<float>(crossing));
  ExpectPoints(run, MakeReducedSystem(block));
}

TEST(LiteralSumMatrix, APointOverABoundaryComesOutAsOneWithin) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 100});
  const size_t o = FindCrossingPoint(block);
  ASSERT_GT(o, 0u);
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_EQ(run.TR[20 * (block.FirstRay(o) / 256)], static_cast<float>(o));

  // The same point behind the first, far from any boundary.
  KernelBlock moved;
  moved.Para = block.Para;
  moved.Eop = block.Eop;
  moved.Iop = block.Iop;
  moved.Rms = block.Rms;
  for (const size_t from : {size_t{0}, o}) {
    const auto number = static_cast<uint32_t>(moved.ObjIdx.size() / 3);
    moved.ObjIdx.insert(moved.ObjIdx.end(), {block.Type(from), block.RayCount(from), 0});
    moved.ObjPt.insert(moved.ObjPt.end(), &block.ObjPt[12 * from], &block.ObjPt[12 * from] + 12);
    for (size_t j = block.FirstRay(from); j < block.FirstRay(from) + block.RayCount(from); ++j) {
      moved.ImgIdx.insert(moved.ImgIdx.end(), {block.ImgIdx[4 * j], block.ImgIdx[4 * j + 1], number, 0});
      moved.ImgPt.insert(moved.ImgPt.end(), &block.ImgPt[4 * j], &block.ImgPt[4 * j] + 4);
    }
  }
  NumberRays(moved);
  LiteralRun within(moved);
  within.SumMatrix();
  for (size_t k = 0; k < 9; ++k) {
    const float expected = within.Inverse(1)[k];
    EXPECT_NEAR(run.Inverse(o)[k], expected, 1e-4 * (1 + std::fabs(expected))) << k;
  }
}

TEST(LiteralSumMatrix, ALongPointKeepsTheRaysOfItsFirstTwoBlocks) {
  const std::pair<int32_t, int32_t> rows[] = {{250, 300}, {100, 530}, {0, 530}, {511, 257}, {255, 257}};
  for (const auto& [first, rays] : rows) {
    SCOPED_TRACE(rays);
    std::vector<int32_t> counts;
    if (first > 0) counts = {first / 2, first - first / 2};
    counts.push_back(rays);
    const size_t o = counts.size() - 1;
    const KernelBlock block = MakeKernelBlock(
        {.nPoints = 40, .RayCounts = counts, .Types = std::vector<uint32_t>(counts.size(), 0)});
    ASSERT_EQ(block.FirstRay(o), static_cast<uint32_t>(first));
    LiteralRun run(block);
    run.SumMatrix();
    const ReducedSystem kept = MakeReducedSystem(block),
                        whole = MakeReducedSystem(block, {.bBoundaries = false});
    // Rays behind block first / 256 + 1 are lost to the sums.
    const int32_t end = (first / 256 + 2) * 256;
    const double lost = std::max(0, first + rays - end) / static_cast<double>(rays);
    for (size_t k = 0; k < 6; ++k) {
      EXPECT_NEAR(run.Inverse(o)[k], kept.P[6 * o + k], kInverse * std::fabs(kept.P[6 * o + 5]));
    }
    const double change = run.Inverse(o)[0] / whole.P[6 * o] - 1;
    if (lost > 0) {
      EXPECT_NEAR(change, lost / (1 - lost), 0.3 * lost);
    } else {
      EXPECT_NEAR(change, 0, 1e-5);
    }
  }
}

TEST(LiteralSumMatrix, ALongPointLeavesHeadsThatNothingJoins) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 40, .RayCounts = {100, 530}, .Types = {0, 0}});
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_EQ(run.TR[0], 1.0f);
  EXPECT_EQ(run.TR[20 + 10], 1.0f);
  EXPECT_EQ(run.TR[40 + 10], 1.0f);
  EXPECT_EQ(run.TR[20], 0.0f);
  EXPECT_GT(run.TR[20 + 11], 0.0f);
  EXPECT_GT(run.TR[40 + 11], 0.0f);
}

TEST(LiteralSumMatrix, PointZeroIsFinishedFromZeroSumsWithoutATailInBlockZero) {
  const Rows zeroed[] = {
      {"a point ends at image point 255",
       {.nPoints = 60, .nMinRays = 8, .nMaxRays = 8, .Types = {0}, .fHeightShare = 0}},
      {"256 rays in all", {.nPoints = 32, .nMinRays = 8, .nMaxRays = 8, .Types = {0}}},
      {"a few rays", {.nPoints = 5, .Types = {0}}},
      {"a check point", {.nPoints = 5, .Types = {2}}},
      {"point 0 fills the block", {.nPoints = 9, .RayCounts = {256}, .Types = {0}}},
  };
  for (const Rows& row : zeroed) {
    SCOPED_TRACE(row.name);
    LiteralRun run(MakeKernelBlock(row.options));
    run.SumMatrix();
    for (int k = 0; k < 9; ++k) EXPECT_EQ(run.Inverse(0)[k], 0.0f);
    EXPECT_NE(run.Inverse(1)[0], 0.0f);
  }
  const Rows good[] = {
      {"a tail", {.nPoints = 60, .nMinRays = 7, .nMaxRays = 7, .Types = {0}}},
      {"its own tail", {.nPoints = 9, .RayCounts = {257}, .Types = {0}}},
  };
  for (const Rows& row : good) {
    SCOPED_TRACE(row.name);
    LiteralRun run(MakeKernelBlock(row.options));
    run.SumMatrix();
    EXPECT_GT(run.Inverse(0)[0], 0.0f);
    EXPECT_GT(run.Inverse(0)[5], 0.0f);
  }
}

TEST(LiteralSumMatrix, AHeightPointZeroReadsItsFirstInverse) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 5, .Types = {4}, .nControlWeight = 12});
  const ReducedSystem once = MakeReducedSystem(block, {.bBoundaries = false});
  LiteralRun run(block);
  run.SumMatrix();
  // Element 02 of the inverse stands where the height difference was uploaded.
  const double difference = once.P[2];
  ASSERT_GT(std::fabs(difference), 1e-3);
  for (int k = 0; k < 5; ++k) EXPECT_EQ(run.Inverse(0)[k], 0.0f);
  EXPECT_EQ(run.Inverse(0)[5], 12.0f);
  EXPECT_EQ(run.Solved(0)[0], 0.0f);
  EXPECT_EQ(run.Solved(0)[1], 0.0f);
  EXPECT_NEAR(run.Solved(0)[2], 12 * (12 * difference), 1e-4 * 144 * std::fabs(difference));
}

TEST(LiteralSumMatrix, ATailBelowItsRecordNumberKeepsWhatWasUploaded) {
  // Point 1 starts at ray 530, in block 2, and runs into block 3.
  const KernelBlock block =
      MakeKernelBlock({.nPoints = 30, .RayCounts = {530, 300}, .Types = {0, 4}, .fHeightShare = 0.2});
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_EQ(run.TR[40], 1.0f);
  EXPECT_GT(run.TR[41], 0.0f);
  for (int k = 0; k < 9; ++k) EXPECT_EQ(run.Inverse(1)[k], block.ObjPt[12 + 3 + static_cast<size_t>(k)]) << k;
  EXPECT_NE(block.ObjPt[12 + 5], 0.0f);
  ExpectPoints(run, MakeReducedSystem(block));
}

TEST(LiteralSumMatrix, ATailAtItsRecordNumberIsTaken) {
  // Point 2 starts at ray 532, in block 2.
  const KernelBlock block =
      MakeKernelBlock({.nPoints = 30, .RayCounts = {266, 266, 300}, .Types = {0, 0, 0}});
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_EQ(run.TR[40], 2.0f);
  EXPECT_GT(run.Inverse(2)[0], 0.0f);
  ExpectPoints(run, MakeReducedSystem(block));
}

TEST(LiteralSumMatrix, ARecordThatNamesNoPointOfTheSectionIsPassedOver) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 60});
  LiteralRun plain(block);
  plain.SumMatrix();
  for (const float number : {60.0f, 61.0f, 1e9f, 1e30f, -1.0f, std::numeric_limits<float>::quiet_NaN()}) {
    LiteralRun run(block);
    run.TR[20 * 40] = number;
    run.SumMatrix();
    EXPECT_EQ(run.block.ObjPt, plain.block.ObjPt) << number;
  }
}

TEST(LiteralSumMatrix, AnEmptySectionLeavesEverything) {
  KernelBlock block = MakeKernelBlock({.nPoints = 3});
  block.Para.nImgPt = block.Para.nObjPt = block.Para.nPairNum = 0;
  const std::vector<float> points = block.ObjPt;
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_EQ(run.block.ObjPt, points);
  for (int k = 0; k < 4; ++k) EXPECT_EQ(run.block.Rms[static_cast<size_t>(k)], 0.0f);
  for (const float value : run.ConstVector()) EXPECT_EQ(value, 0.0f);
  for (const float value : run.Preconditioner()) EXPECT_EQ(value, 0.0f);
  for (const float value : run.Product(std::vector<float>(run.D.size(), 1.0f))) EXPECT_EQ(value, 0.0f);
}

TEST(LiteralSumMatrix, OnlyTiePointsAreGrossAndLeaveTheStatistics) {
  const KernelBlock block = MakeKernelBlock({.fHeightShare = 0.2, .fCheckShare = 0.2, .fGrossShare = 0.3});
  LiteralRun run(block);
  run.SumMatrix();
  int gross = 0, kept = 0;
  double sum = 0;
  for (size_t j = 0; j < block.ImgIdx.size() / 4; ++j) {
    const float Lx = run.block.ImgPt[4 * j + 2], Ly = run.block.ImgPt[4 * j + 3];
    const bool far = std::fabs(Lx) > 0.9 || std::fabs(Ly) > 0.9;
    const bool tie = block.Type(block.ImgIdx[4 * j + 2]) == 0;
    EXPECT_EQ(run.Flag(j), far && tie ? gpu::kRayIsGross : gpu::kRayCounts);
    gross += far && tie;
    kept += far && !tie;
    if (!(far && tie)) sum += static_cast<double>(Lx) * Lx;
  }
  EXPECT_GT(gross, 30);
  EXPECT_GT(kept, 30);
  EXPECT_NEAR(run.block.Rms[2], sum, 1e-5 * sum);
}

TEST(LiteralSumMatrix, AGrossRayEntersTheSumsOfItsPoint) {
  const KernelBlock block = MakeKernelBlock({.fGrossShare = 0.3});
  for (const float weight : {1e-6f, 0.5f}) {
    LiteralRun run(block, weight);
    run.SumMatrix();
    ExpectPoints(run, MakeReducedSystem(block, {.fGrossWeight = weight}));
  }
}

TEST(LiteralSumMatrix, AResidualAtTheThresholdIsNotGross) {
  KernelBlock block =
      MakeKernelBlock({.nPoints = 30, .fControlShare = 0, .fHeightShare = 0, .fCheckShare = 0});
  LiteralRun measure(block);
  measure.SumMatrix();
  block.Para.nGrossFactor100 = 100;
  for (const size_t axis : {2, 3}) {
    const float residual = std::fabs(measure.block.ImgPt[4 * 50 + axis]);
    block.Rms[2] = block.Rms[3] = 1e3f;
    block.Rms[axis] = residual;
    LiteralRun at(block);
    at.SumMatrix();
    EXPECT_EQ(at.Flag(50), gpu::kRayCounts);
    block.Rms[axis] = std::nextafter(residual, 0.0f);
    LiteralRun above(block);
    above.SumMatrix();
    EXPECT_EQ(above.Flag(50), gpu::kRayIsGross);
  }
}

TEST(LiteralSumMatrix, TheThresholdIsTakenInHundredths) {
  KernelBlock block =
      MakeKernelBlock({.nPoints = 30, .fControlShare = 0, .fHeightShare = 0, .fCheckShare = 0});
  LiteralRun measure(block);
  measure.SumMatrix();
  const float residual = std::fabs(measure.block.ImgPt[4 * 50 + 2]);
  block.Rms[3] = 1e3f;
  for (const auto& [hundredths, flag] :
       {std::pair{199, gpu::kRayIsGross}, std::pair{200, gpu::kRayCounts}, std::pair{0, gpu::kRayIsGross}}) {
    block.Para.nGrossFactor100 = hundredths;
    block.Rms[2] = residual / 2;
    LiteralRun run(block);
    run.SumMatrix();
    EXPECT_EQ(run.Flag(50), static_cast<uint32_t>(flag)) << hundredths;
  }
}

TEST(LiteralSumMatrix, AThresholdThatIsNotANumberFindsNoGrossRay) {
  KernelBlock block = MakeKernelBlock({.fGrossShare = 0.3});
  block.Rms[2] = block.Rms[3] = std::numeric_limits<float>::quiet_NaN();
  LiteralRun run(block);
  run.SumMatrix();
  for (size_t j = 0; j < block.ImgIdx.size() / 4; ++j) EXPECT_EQ(run.Flag(j), gpu::kRayCounts);
}

TEST(LiteralSumMatrix, AGrossRayComesBackUnderAWiderThreshold) {
  LiteralRun run(MakeKernelBlock({.fGrossShare = 0.3}));
  run.SumMatrix();
  int64_t gross = 0;
  for (size_t j = 0; j < run.block.ImgIdx.size() / 4; ++j) gross += run.Flag(j) == gpu::kRayIsGross;
  EXPECT_GT(gross, 30);
  std::fill(run.block.Rms.begin(), run.block.Rms.end(), 0.0f);
  std::fill(run.TR.begin(), run.TR.end(), 0.0f);
  run.block.Rms[2] = run.block.Rms[3] = 10;
  run.SumMatrix();
  for (size_t j = 0; j < run.block.ImgIdx.size() / 4; ++j) EXPECT_EQ(run.Flag(j), gpu::kRayCounts);
}

TEST(LiteralSumMatrix, SkippedStatisticsLeaveTheResidualSums) {
  KernelBlock block = MakeKernelBlock({.fGrossShare = 0.3});
  block.Para.nSkipStatistics = 1;
  for (size_t k = 4; k < 260; ++k) block.Rms[k] = static_cast<float>(k);
  LiteralRun run(block);
  run.SumMatrix();
  EXPECT_EQ(run.block.Rms, block.Rms);
  ExpectPoints(run, MakeReducedSystem(block));
}

TEST(LiteralSumMatrix, BlocksAddTheirResidualsToGroupsOfTheirOwn) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 100});
  LiteralRun run(block);
  run.SumMatrix();
  std::vector<double> sums(256, 0.0);
  for (size_t j = 0; j < block.ImgIdx.size() / 4; ++j) {
    const double Lx = run.block.ImgPt[4 * j + 2], Ly = run.block.ImgPt[4 * j + 3];
    double* group = &sums[4 * (j / 256)];
    group[0] += Lx;
    group[1] += Ly;
    group[2] += Lx * Lx;
    group[3] += Ly * Ly;
  }
  for (size_t k = 0; k < 256; ++k) EXPECT_NEAR(run.block.Rms[4 + k], sums[k], 1e-5) << k;
}

TEST(LiteralSumMatrix, ARayThatIsLeftOutCountsInTheWalkAndNowhereElse) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 100, .fLeftOutShare = 0.4});
  LiteralRun run(block);
  run.SumMatrix();
  int leftOut = 0;
  for (size_t j = 0; j < block.ImgIdx.size() / 4; ++j) {
    if (block.ImgIdx[4 * j + 3] != gpu::kRayIsLeftOut) continue;
    ++leftOut;
    EXPECT_EQ(run.Flag(j), gpu::kRayIsLeftOut);
    EXPECT_EQ(run.block.ImgPt[4 * j + 2], 0.0f);
    EXPECT_EQ(run.block.ImgPt[4 * j + 3], 0.0f);
  }
  EXPECT_GT(leftOut, 50);
  ExpectPoints(run, MakeReducedSystem(block));
}

TEST(LiteralSumMatrix, APointWithoutAnyRayInPlaceIsFinishedFromZeroSums) {
  KernelBlock block = MakeKernelBlock({.nPoints = 60, .nMinRays = 7, .nMaxRays = 7, .Types = {0, 0, 0}});
  for (size_t j = 14; j < 21; ++j) {
    block.ImgIdx[4 * j] = block.ImgIdx[4 * j + 1] = 0xffffffffu;
    block.ImgIdx[4 * j + 3] = gpu::kRayIsLeftOut;
  }
  LiteralRun run(block);
  run.SumMatrix();
  for (int k = 0; k < 9; ++k) EXPECT_EQ(run.Inverse(2)[k], 0.0f);
  EXPECT_GT(run.Inverse(1)[0], 0.0f);
  EXPECT_GT(run.Inverse(3)[0], 0.0f);
}

TEST(LiteralSumMatrix, ASingularBlockStandsInForItsInverse) {
  // Two gross rays at the weight 1e-6 make a determinant of some 1e-26.
  KernelBlock block = MakeKernelBlock({.nPoints = 60, .RayCounts = {6, 2, 6}, .Types = {0, 0, 0}});
  for (size_t j = 6; j < 8; ++j) block.ImgPt[4 * j] += 1.5f;
  const ReducedSystem system = MakeReducedSystem(block);
  ASSERT_LT(system.P[6], 1e-6);
  ASSERT_GT(system.P[6], 0);
  LiteralRun run(block);
  run.SumMatrix();
  for (size_t k = 0; k < 6; ++k) EXPECT_NEAR(run.Inverse(1)[k], system.P[6 + k], 1e-5 * system.P[6]);
  ExpectPoints(run, system);
}

}  // namespace
}  // namespace orvo::test
