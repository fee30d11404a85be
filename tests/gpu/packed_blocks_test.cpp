// Damping and preconditioner in packed form, and the vectors of the conjugate gradients.
#include "gpu/PackedBlocks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "gpu/PackedDamping.h"
#include "gpu/PcgVectors.h"
#include "solver/BlockInverse.h"

namespace orvo::test {
namespace {

using gpu::PackedBlocks;

struct LayoutRow {
  const char* szName;
  UnknownLayout layout;
  int32_t nGroups;
  std::vector<int32_t> vSizes;  ///< of the blocks in order
};

std::vector<int32_t> Repeat(std::initializer_list<std::pair<int, int>> runs) {
  std::vector<int32_t> sizes;
  for (const auto& [count, size] : runs) sizes.insert(sizes.end(), static_cast<size_t>(count), size);
  return sizes;
}

std::vector<LayoutRow> Layouts() {
  return {{"Eop", {LayoutEop, 4, 2, 0}, 0, Repeat({{4, 6}})},
          {"Iop", {LayoutIop, 4, 3, 0}, 0, Repeat({{3, 5}})},
          {"Merged", {LayoutMergedEopIop, 4, 4, 0}, 0, Repeat({{4, 11}})},
          {"EopIop", {LayoutEopIop, 4, 2, 0}, 0, Repeat({{4, 6}, {2, 5}})},
          {"EopPos", {LayoutEop, 3, 2, 6}, 2, Repeat({{3, 6}, {2, 6}})},
          {"MergedPos", {LayoutMergedEopIop, 3, 3, 12}, 2, Repeat({{3, 11}, {2, 12}})},
          {"EopIopPos", {LayoutEopIop, 3, 2, 3}, 4, Repeat({{3, 6}, {2, 5}, {4, 3}})},
          {"IopGroupsWithoutUnknowns", {LayoutIop, 3, 2, 0}, 4, Repeat({{2, 5}})}};
}

TEST(PackedBlocks, StandOneBehindTheOther) {
  for (const LayoutRow& row : Layouts()) {
    const PackedBlocks blocks = gpu::MakePackedBlocks(row.layout, row.nGroups);
    std::vector<int32_t> sizes;
    int64_t unknown = 0, packed = 0;
    for (const PackedBlocks::Run& run : blocks.vRuns) {
      EXPECT_EQ(run.nUnknown, unknown) << row.szName;
      EXPECT_EQ(run.nPacked, packed) << row.szName;
      for (int64_t block = 0; block < run.nCount; ++block) sizes.push_back(run.nSize);
      unknown += run.nCount * run.nSize;
      packed += run.nCount * run.nSize * (run.nSize + 1) / 2;
    }
    EXPECT_EQ(sizes, row.vSizes) << row.szName;
    EXPECT_EQ(blocks.nUnknownNum, unknown) << row.szName;
    EXPECT_EQ(blocks.nPackedNum, packed) << row.szName;
  }
}

TEST(PackedDamping, Schedule) {
  DampingSchedule schedule;
  schedule.fCoefficient = 0.002;
  for (const int k : {0, 1, 4}) EXPECT_EQ(gpu::PackedDampingFactor(schedule, k), 0.002) << k;
  // Free blocks grow by 1000 fBase, oriented ones by fBase / 10, each to the power of the iteration.
  EXPECT_DOUBLE_EQ(gpu::PackedDampingFactor(schedule, 5), 0.002 * 1e30);
  EXPECT_DOUBLE_EQ(gpu::PackedDampingFactor(schedule, 6), 0.002 * 1e36);
  schedule.bSevenParamApplied = true;
  schedule.nGcpIterations = 2;
  EXPECT_EQ(gpu::PackedDampingFactor(schedule, 2), 0.002);
  EXPECT_DOUBLE_EQ(gpu::PackedDampingFactor(schedule, 3), 0.002 * 1e6);
  EXPECT_DOUBLE_EQ(gpu::PackedDampingFactor(schedule, 4), 0.002 * 1e8);
}

TEST(PackedDamping, TheIterationSetsTheLimitsOfItsSolution) {
  AdjustmentSettings settings;
  settings.Max_PCG_Iteration_Num = 3;
  settings.PCG_IGN_Converge_Threshold = 0.5;
  settings.Damping_Coefficient = 0.002;
  settings.Free_LM_Iteration_Num = 2;
  settings.GCP_LM_Iteration_Num = 1;
  const struct {
    int32_t nIteration;
    bool bSevenParam;
    double fFactor;
    int32_t nSteps;
  } rows[] = {{0, false, 0.002, 30}, {2, false, 0.002, 30},      {3, false, 0.002 * 1e18, 10},
              {1, true, 0.002, 30},  {2, true, 0.002 * 1e4, 30}, {20, true, 0.002 * 1e40, 10}};
  for (const auto& row : rows) {
    RunLimits limits = LimitsOf(settings);
    EXPECT_DOUBLE_EQ(gpu::ChoosePackedDamping(settings, row.bSevenParam, row.nIteration, limits), row.fFactor)
        << row.nIteration;
    EXPECT_EQ(limits.Max_PCG_Iteration_Num, row.nSteps) << row.nIteration;
    EXPECT_EQ(limits.PCG_IGN_Converge_Threshold, 0.1) << row.nIteration;
  }
}

/// A random positive definite matrix for each block, packed, with the full blocks beside it.
struct PackedSystem {
  std::vector<double> M;
  std::vector<std::vector<double>> Full;

  PackedSystem(const std::vector<int32_t>& sizes, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    for (const int32_t size : sizes) {
      const auto n = static_cast<size_t>(size);
      std::vector<double> root(n * n), full(n * n, 0.0);
      for (double& value : root) value = normal(random);
      for (size_t i = 0; i < n; ++i) {
        for (size_t j = 0; j < n; ++j) {
          for (size_t k = 0; k < n; ++k) full[i * n + j] += root[i * n + k] * root[j * n + k];
        }
        full[i * n + i] += 1;
      }
      for (size_t i = 0; i < n; ++i) {
        for (size_t j = i; j < n; ++j) M.push_back(full[i * n + j]);
      }
      Full.push_back(std::move(full));
    }
  }
};

TEST(PackedDamping, EnlargesEveryDiagonal) {
  for (const LayoutRow& row : Layouts()) {
    const PackedBlocks blocks = gpu::MakePackedBlocks(row.layout, row.nGroups);
    PackedSystem system(row.vSizes, 3);
    std::vector<double> M = system.M, damp(static_cast<size_t>(blocks.nUnknownNum), -1.0);
    gpu::AddPackedDamping(blocks, 0.25, M, damp);
    size_t packed = 0, unknown = 0;
    for (const int32_t size : row.vSizes) {
      for (int32_t i = 0; i < size; ++i) {
        for (int32_t j = i; j < size; ++j, ++packed) {
          EXPECT_DOUBLE_EQ(M[packed], system.M[packed] * (i == j ? 1.25 : 1)) << row.szName;
          if (i == j) {
            EXPECT_DOUBLE_EQ(damp[unknown++], 0.25 * system.M[packed]);
          }
        }
      }
    }
  }
}

TEST(DampingProduct, LeavesPosUnknownsOut) {
  for (const LayoutRow& row : Layouts()) {
    const PackedBlocks blocks = gpu::MakePackedBlocks(row.layout, row.nGroups);
    const auto n = static_cast<size_t>(blocks.nUnknownNum);
    const auto own = n - static_cast<size_t>(row.layout.nPosSize * row.nGroups);
    std::vector<double> damp(n), v(n), out(n, 1.0);
    for (size_t k = 0; k < n; ++k) {
      damp[k] = static_cast<double>(k) + 1;
      v[k] = 0.5 * static_cast<double>(k) - 3;
    }
    gpu::AddDampingProduct(blocks, damp, v, out);
    for (size_t k = 0; k < n; ++k) EXPECT_EQ(out[k], k < own ? 1 + damp[k] * v[k] : 1.0) << row.szName;
  }
}

/// The obvious form: unpack, invert and multiply each block at every application.
std::vector<double> SlowApply(const PackedSystem& system, const std::vector<int32_t>& sizes,
                              const std::vector<double>& r, std::vector<double> z) {
  size_t at = 0;
  for (size_t block = 0; block < sizes.size(); ++block) {
    const auto n = static_cast<size_t>(sizes[block]);
    std::vector<double> inverse = system.Full[block];
    InvertBlockInPlace(inverse.data(), sizes[block]);
    for (size_t i = 0; i < n; ++i) {
      double sum = 0;
      for (size_t j = 0; j < n; ++j) sum += inverse[i * n + j] * r[at + j];
      z[at + i] += sum;
    }
    at += n;
  }
  return z;
}

TEST(PackedPreconditioner, EqualsAnInversionAtEveryApplication) {
  for (const LayoutRow& row : Layouts()) {
    const PackedBlocks blocks = gpu::MakePackedBlocks(row.layout, row.nGroups);
    const PackedSystem system(row.vSizes, 11);
    const auto n = static_cast<size_t>(blocks.nUnknownNum);
    std::vector<double> r(n);
    for (size_t k = 0; k < n; ++k) r[k] = std::sin(static_cast<double>(k));
    for (const int threads : {1, 3}) {
      const gpu::PackedPreconditioner preconditioner(blocks, system.M, threads);
      std::vector<double> z(n, 2.0), expected = SlowApply(system, row.vSizes, r, z);
      preconditioner.Apply(r, z);
      for (size_t k = 0; k < n; ++k) EXPECT_NEAR(z[k], expected[k], 1e-13) << row.szName << ' ' << k;
      expected = SlowApply(system, row.vSizes, r, z);
      preconditioner.Apply(r, z);
      for (size_t k = 0; k < n; ++k) EXPECT_NEAR(z[k], expected[k], 1e-13) << row.szName << ' ' << k;
      std::vector<double> once(n, 2.0), twice(n, 2.0);
      gpu::ApplyPackedPreconditioner(blocks, system.M, r, once);
      preconditioner.Apply(r, twice);
      EXPECT_EQ(once, twice) << row.szName;
    }
  }
}

TEST(PackedPreconditioner, ASingularBlockActsAsTheInversionLeavesIt) {
  const PackedBlocks blocks = gpu::MakePackedBlocks({LayoutEop, 2, 1, 0}, 0);
  std::vector<double> M(42, 0.0);
  for (const size_t diagonal : {21u, 27u, 32u, 36u, 39u, 41u}) M[diagonal] = 4;
  const gpu::PackedPreconditioner preconditioner(blocks, M, 1);
  const std::vector<double> r(12, 1.0);
  std::vector<double> z(12, 0.0);
  preconditioner.Apply(r, z);
  for (size_t k = 0; k < 6; ++k) EXPECT_EQ(z[k], 0.0) << "a block of zeros";
  for (size_t k = 6; k < 12; ++k) EXPECT_EQ(z[k], 0.25);
}

TEST(PcgVectors, Steps) {
  const std::vector<double> r{1, 2, 3, 4, 5}, z{2, 0, 1, -1, 1}, Ad{1, 1, 0, 2, 1};
  std::vector<float> d{1, -1, 2, 3, 0.5f};
  double rho = 0, alpha = -7, beta = -7;
  EXPECT_EQ(gpu::ComputePcgAlpha(r, z, d, Ad, rho, alpha), 1);
  EXPECT_EQ(rho, 6);
  EXPECT_DOUBLE_EQ(alpha, 6 / 6.5);
  std::vector<double> x(5, 1.0), residual = r;
  gpu::UpdatePcgSolution(0.5, d, Ad, x, residual);
  EXPECT_EQ(x, (std::vector<double>{1.5, 0.5, 2, 2.5, 1.25}));
  EXPECT_EQ(residual, (std::vector<double>{0.5, 1.5, 3, 3, 4.5}));
  EXPECT_EQ(gpu::ComputePcgBeta(12, r, z, beta), 1);
  EXPECT_EQ(beta, 0.5);
  gpu::UpdatePcgDirection(0.5, z, d);
  EXPECT_EQ(d, (std::vector<float>{2.5f, -0.5f, 2, 0.5f, 1.25f}));
}

TEST(PcgVectors, ExactZerosKeepTheStepBefore) {
  const std::vector<double> zero(5, 0.0), one(5, 1.0);
  const std::vector<float> d(5, 1.0f);
  double rho = 3, alpha = 7, beta = 8;
  EXPECT_EQ(gpu::ComputePcgAlpha(one, one, d, zero, rho, alpha), 0);
  EXPECT_EQ(rho, 5);
  EXPECT_EQ(alpha, 7);
  EXPECT_EQ(gpu::ComputePcgBeta(0, one, one, beta), 0);
  EXPECT_EQ(beta, 8);
}

TEST(PcgVectors, TheDirectionIsFormedInDouble) {
  // In single precision the product alone would be rounded away.
  std::vector<float> d{16777216.0f};
  gpu::UpdatePcgDirection(1.0 + 1e-9, {-16777216.0}, d);
  EXPECT_FLOAT_EQ(d[0], 0.016777216f);
}

}  // namespace
}  // namespace orvo::test
