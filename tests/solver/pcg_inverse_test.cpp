#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "geometry/OrvoMatrix.h"
#include "solver/BlockInverse.h"

namespace orvo {
namespace {

std::vector<double> RandomBlock(int32_t order, uint32_t seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> block(static_cast<size_t>(order * order));
  for (double& value : block) value = normal(random);
  return block;
}

TEST(BlockInverse, IsTheGeneralInversionBitForBit) {
  for (int32_t order = 1; order <= 14; ++order) {
    for (uint32_t seed = 0; seed < 20; ++seed) {
      std::vector<double> fast = RandomBlock(order, seed), slow = fast;
      if (order > 1 && seed % 4 == 0) fast[0] = slow[0] = 0.0;
      if (order > 2 && seed % 5 == 0) fast[1] = slow[1] = 1e-25;
      ASSERT_EQ(InvertBlockInPlace(fast.data(), order), 1);
      ASSERT_EQ(InvertGaussJordan(slow.data(), order, 1e-24), 1);
      EXPECT_EQ(std::memcmp(fast.data(), slow.data(), fast.size() * sizeof(double)), 0)
          << order << " " << seed;
    }
  }
}

TEST(BlockInverse, TimesTheBlockIsTheIdentity) {
  for (const int32_t order : {3, 5, 6, 11}) {
    const std::vector<double> block = RandomBlock(order, 7);
    std::vector<double> inverse = block;
    ASSERT_EQ(InvertBlockInPlace(inverse.data(), order), 1);
    for (int32_t i = 0; i < order; ++i) {
      for (int32_t j = 0; j < order; ++j) {
        double sum = 0.0;
        for (int32_t k = 0; k < order; ++k) {
          sum += block[static_cast<size_t>(i * order + k)] * inverse[static_cast<size_t>(k * order + j)];
        }
        EXPECT_NEAR(sum, i == j ? 1.0 : 0.0, 1e-11) << order;
      }
    }
  }
}

TEST(BlockInverse, ToleranceIs1e24) {
  for (const int32_t order : {1, 5, 6, 7, 11}) {
    const auto n = static_cast<size_t>(order);
    std::vector<double> above(n * n, 0.0), below(n * n, 0.0);
    for (size_t i = 0; i < n; ++i) {
      above[i * (n + 1)] = 2e-24;
      below[i * (n + 1)] = 0.9e-24;
    }
    EXPECT_EQ(InvertBlockInPlace(above.data(), order), 1);
    EXPECT_DOUBLE_EQ(above[0], 0.5e24);
    EXPECT_EQ(InvertBlockInPlace(below.data(), order), -1);
  }
}

TEST(BlockInverse, RefusesNullEmptyAndSingularBlocks) {
  EXPECT_EQ(InvertBlockInPlace(nullptr, 6), -1);
  double one = 1.0;
  EXPECT_EQ(InvertBlockInPlace(&one, 0), -1);
  for (const int32_t order : {2, 5, 6, 11}) {
    std::vector<double> ones(static_cast<size_t>(order * order), 1.0);
    EXPECT_EQ(InvertBlockInPlace(ones.data(), order), -1);
  }
}

}  // namespace
}  // namespace orvo
