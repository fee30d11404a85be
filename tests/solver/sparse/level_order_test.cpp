#include "solver/sparse/LevelOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

/// How far apart coupled nodes stand at most.
int32_t Bandwidth(const NodePattern& pattern, const std::vector<int32_t>& order) {
  const std::vector<int32_t> positions = PositionsOf(order);
  int32_t width = 0;
  for (int32_t i = 0; i < static_cast<int32_t>(order.size()); ++i) {
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      if (j < static_cast<int32_t>(order.size()))
        width = std::max(width, std::abs(positions[i] - positions[j]));
    }
  }
  return width;
}

TEST(LevelOrder, HoldsEachNodeOnce) {
  for (const PatternCase& c : PatternCases()) {
    for (const int32_t left : {0, 1, 5}) {
      const int32_t count = std::max(0, c.Pattern.NodeNum() - left);
      EXPECT_TRUE(IsPermutation(OrderByLevels(c.Pattern, count), count)) << c.szName << " " << left;
    }
  }
}

TEST(LevelOrder, ChainFromEndToEnd) {
  std::vector<int32_t> forwards(9);
  std::iota(forwards.begin(), forwards.end(), 0);
  const std::vector<int32_t> order = OrderByLevels(Chain(9, 6), 9);
  const std::vector<int32_t> backwards(forwards.rbegin(), forwards.rend());
  EXPECT_TRUE(order == forwards || order == backwards);
}

TEST(LevelOrder, KeepsNeighboursCloseHoweverTheyAreNumbered) {
  constexpr int32_t kRows = 5, kCols = 40;
  std::vector<int32_t> names(kRows * kCols);
  std::iota(names.begin(), names.end(), 0);
  for (uint32_t seed = 0; seed < 4; ++seed) {
    std::shuffle(names.begin(), names.end(), std::mt19937(seed));
    const NodePattern pattern = PatternWhere(std::vector<int32_t>(names.size(), 6), [&](int32_t i,
                                                                                        int32_t j) {
      return std::abs(names[i] / kCols - names[j] / kCols) + std::abs(names[i] % kCols - names[j] % kCols) ==
             1;
    });
    std::vector<int32_t> given(names.size());
    std::iota(given.begin(), given.end(), 0);
    EXPECT_GT(Bandwidth(pattern, given), 20 * kRows) << seed;
    // A level of a grid from its corner holds no more nodes than its short side.
    EXPECT_LE(Bandwidth(pattern, OrderByLevels(pattern, kRows * kCols)), 2 * kRows) << seed;
  }
}

}  // namespace
}  // namespace orvo::sparse
