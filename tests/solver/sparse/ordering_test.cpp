#include "solver/sparse/Ordering.h"

#include <gtest/gtest.h>

#include <numeric>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/SymbolicFactor.h"

namespace orvo::sparse {
namespace {

using Numbers = std::vector<int32_t>;

int64_t EntriesOf(const NodePattern& pattern, const Numbers& order) {
  return AnalyseFactor(pattern, order).nEntryNum;
}

Numbers Natural(const NodePattern& pattern) {
  Numbers order(pattern.NodeNum());
  std::iota(order.begin(), order.end(), 0);
  return order;
}

TEST(Ordering, IsAPermutationAndAlwaysTheSame) {
  for (const PatternCase& c : PatternCases()) {
    const Numbers order = OrderNodes(c.Pattern, c.vBorder);
    EXPECT_TRUE(IsPermutation(order, c.Pattern.NodeNum())) << c.szName;
    EXPECT_EQ(OrderNodes(c.Pattern, c.vBorder), order) << c.szName;
  }
}

TEST(Ordering, BorderLastAndAscending) {
  const NodePattern pattern = StripPattern(3, 6);
  const Numbers borders[] = {{}, {4}, {9, 2}, {17, 17, 0, -1, 18}};
  const Numbers expected[] = {{}, {4}, {2, 9}, {0, 17}};
  for (size_t k = 0; k < std::size(borders); ++k) {
    const Numbers order = OrderNodes(pattern, borders[k]);
    ASSERT_TRUE(IsPermutation(order, 18)) << k;
    EXPECT_EQ(Numbers(order.end() - static_cast<int64_t>(expected[k].size()), order.end()), expected[k]) << k;
  }
  const Numbers all = Natural(pattern);
  EXPECT_EQ(OrderNodes(pattern, all), all);
}

TEST(Ordering, NoFillWhereNoneIsNeeded) {
  const auto star = [](int32_t i, int32_t) { return i == 0; };
  const auto tree = [](int32_t i, int32_t j) { return (j - 1) / 3 == i; };
  const auto comb = [](int32_t i, int32_t j) { return j == i + 1 ? i % 2 == 0 : j == i + 2 && i % 2 == 0; };
  const NodePattern patterns[] = {Chain(50, 6), PatternWhere(Numbers(20, 3), star),
                                  PatternWhere(Numbers(40, 5), tree), PatternWhere(Numbers(30, 2), comb)};
  for (const NodePattern& pattern : patterns) {
    int64_t entries = 0;
    for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
      entries += pattern.vSizes[i] * (pattern.vSizes[i] + 1) / 2;
      for (const int32_t j : pattern.NeighboursBehind(i)) entries += pattern.vSizes[i] * pattern.vSizes[j];
    }
    EXPECT_EQ(EntriesOf(pattern, OrderNodes(pattern)), entries) << &pattern - patterns;
  }
}

TEST(Ordering, FillsInLessThanTheNaturalOrder) {
  const auto grid = [](int32_t i, int32_t j) {
    return std::abs(i / 30 - j / 30) + std::abs(i % 30 - j % 30) == 1;
  };
  const NodePattern square = PatternWhere(Numbers(900, 1), grid);
  EXPECT_LT(EntriesOf(square, OrderNodes(square)), EntriesOf(square, Natural(square)) * 2 / 3);
  const NodePattern strips = StripPattern(20, 20);
  EXPECT_LT(EntriesOf(strips, OrderNodes(strips)), EntriesOf(strips, Natural(strips)) * 2 / 3);
}

TEST(Ordering, LargeNodesWaitForSmallOnes) {
  // A ring: whoever goes first couples its neighbours, which is cheapest where they are small.
  const auto ring = [](int32_t i, int32_t j) { return j == i + 1 || (i == 0 && j == 5); };
  const Numbers order = OrderNodes(PatternWhere({64, 1, 1, 1, 64, 64}, ring));
  EXPECT_EQ(order.front(), 2);
}

TEST(Ordering, Permutations) {
  struct Case {
    Numbers Order;
    int32_t nNodeNum;
    bool bIs;
  };
  const Case cases[] = {{{}, 0, true},         {{0}, 1, true},        {{2, 0, 1}, 3, true},
                        {{}, 1, false},        {{0, 1, 2}, 2, false}, {{0, 0, 2}, 3, false},
                        {{0, 1, 3}, 3, false}, {{-1, 0, 1}, 3, false}};
  for (const Case& c : cases) EXPECT_EQ(IsPermutation(c.Order, c.nNodeNum), c.bIs) << &c - cases;
  EXPECT_EQ(PositionsOf(Numbers{2, 0, 1, 3}), (Numbers{1, 2, 0, 3}));
}

}  // namespace
}  // namespace orvo::sparse
