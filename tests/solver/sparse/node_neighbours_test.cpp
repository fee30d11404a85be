#include "solver/sparse/NodeNeighbours.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "solver/sparse/NodeSystems.h"

namespace orvo::sparse {
namespace {

std::vector<int32_t> Listed(const NodeNeighbours& neighbours, int32_t node) {
  const auto of = neighbours.Of(node);
  return {of.begin(), of.end()};
}

TEST(NodeNeighbours, AscendOnBothSides) {
  const NodeNeighbours of = NeighboursOf(StripPattern(2, 4, 1), 8);
  ASSERT_EQ(of.NodeNum(), 8);
  EXPECT_EQ(Listed(of, 0), (std::vector<int32_t>{1, 2, 4, 5}));
  EXPECT_EQ(Listed(of, 2), (std::vector<int32_t>{0, 1, 3, 5, 6, 7}));
  EXPECT_EQ(Listed(of, 7), (std::vector<int32_t>{2, 3, 5, 6}));
  EXPECT_EQ(of.Degree(7), 4);
}

TEST(NodeNeighbours, TheRestTakesNoPart) {
  const NodeNeighbours of = NeighboursOf(WithBorder(Chain(4, 6), {5}), 4);
  ASSERT_EQ(of.NodeNum(), 4);
  EXPECT_EQ(Listed(of, 0), (std::vector<int32_t>{1}));
  EXPECT_EQ(Listed(of, 3), (std::vector<int32_t>{2}));
  EXPECT_EQ(NeighboursOf(Chain(0, 6), 0).NodeNum(), 0);
}

TEST(NodeNeighbours, AreThoseOfThePattern) {
  for (const PatternCase& c : PatternCases()) {
    const int32_t nodeNum = c.Pattern.NodeNum();
    const NodeNeighbours of = NeighboursOf(c.Pattern, nodeNum);
    for (int32_t i = 0; i < nodeNum; ++i) {
      std::vector<int32_t> wanted;
      for (int32_t j = 0; j < nodeNum; ++j) {
        const auto behind = c.Pattern.NeighboursBehind(std::min(i, j));
        if (std::binary_search(behind.begin(), behind.end(), std::max(i, j))) wanted.push_back(j);
      }
      EXPECT_EQ(Listed(of, i), wanted) << c.szName << " " << i;
    }
  }
}

}  // namespace
}  // namespace orvo::sparse
