#include "solver/sparse/PartOrder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

/// The part of each node, by its position; the number of parts for those of the rest.
std::vector<int32_t> PartsOf(const PartOrder& order) {
  std::vector<int32_t> parts(order.vOrder.size());
  for (size_t k = 0; k < order.vOrder.size(); ++k) {
    const auto behind = std::upper_bound(order.vFirst.begin(), order.vFirst.end(), static_cast<int32_t>(k));
    parts[order.vOrder[k]] = static_cast<int32_t>(behind - order.vFirst.begin()) - 1;
  }
  return parts;
}

TEST(PartOrder, PartsDoNotTouch) {
  for (const PatternCase& c : PatternCases()) {
    const int32_t nodeNum = c.Pattern.NodeNum();
    for (const int32_t largest : {1, 4, 16, kPartNodes}) {
      const PartOrder order = OrderByParts(c.Pattern, nodeNum, largest);
      ASSERT_TRUE(IsPermutation(order.vOrder, nodeNum)) << c.szName;
      ASSERT_TRUE(std::ranges::is_sorted(order.vFirst)) << c.szName;
      ASSERT_EQ(order.vFirst.front(), 0) << c.szName;
      ASSERT_LE(order.vFirst.back(), nodeNum) << c.szName;
      const std::vector<int32_t> parts = PartsOf(order);
      for (int32_t i = 0; i < nodeNum; ++i) {
        for (const int32_t j : c.Pattern.NeighboursBehind(i)) {
          const bool isRest = parts[i] == order.PartNum() || parts[j] == order.PartNum();
          EXPECT_TRUE(isRest || parts[i] == parts[j]) << c.szName << " " << largest << " " << i << " " << j;
        }
      }
    }
  }
}

TEST(PartOrder, FewNodesSeparateThem) {
  const PartOrder order = OrderByParts(StripPattern(8, 64), 512, 64);
  EXPECT_EQ(order.PartNum(), 8);
  EXPECT_LE(512 - order.vFirst.back(), 7 * 18);
  for (int32_t part = 0; part < order.PartNum(); ++part) {
    EXPECT_GE(order.vFirst[part + 1] - order.vFirst[part], 32) << part;
  }
}

TEST(PartOrder, SmallNetsAreOnePart) {
  const PartOrder order = OrderByParts(StripPattern(4, 7), 28);
  EXPECT_EQ(order.vFirst, (std::vector<int32_t>{0, 28}));
  EXPECT_EQ(OrderByParts(Chain(0, 6), 0).vFirst, (std::vector<int32_t>{0}));
}

TEST(PartOrder, HubsAndTheBorderSeparate) {
  const PatternCase c{
      "",
      PatternWhere(std::vector<int32_t>(61, 6), [](int32_t i, int32_t j) { return i == 0 || j == i + 1; }),
      {}};
  const PartOrder order = OrderByParts(c.Pattern, 60, 16);
  EXPECT_EQ(order.vOrder.size(), 60);
  const auto rest = std::span(order.vOrder).subspan(order.vFirst.back());
  EXPECT_TRUE(std::ranges::find(rest, 0) != rest.end());
}

}  // namespace
}  // namespace orvo::sparse
