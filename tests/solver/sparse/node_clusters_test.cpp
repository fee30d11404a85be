#include "solver/sparse/NodeClusters.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

NodeClusters Clusters(const NodePattern& pattern, int32_t largest) {
  return ClustersOf(NeighboursOf(pattern, pattern.NodeNum()), largest);
}

/// Pairs of neighbours that are in different clusters.
int64_t CutNum(const NodePattern& pattern, const NodeClusters& clusters) {
  const std::vector<int32_t> of = clusters.OfNodes();
  int64_t cuts = 0;
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    const auto behind = pattern.NeighboursBehind(i);
    cuts += std::ranges::count_if(behind, [&](int32_t j) { return of[i] != of[j]; });
  }
  return cuts;
}

TEST(NodeClusters, HoldEachNodeOnce) {
  for (const PatternCase& c : PatternCases()) {
    for (const int32_t largest : {1, 3, 16}) {
      const NodeClusters clusters = Clusters(c.Pattern, largest);
      EXPECT_TRUE(IsPermutation(clusters.vNodes, c.Pattern.NodeNum())) << c.szName;
      const std::vector<int32_t> of = clusters.OfNodes();
      for (int32_t k = 0; k < clusters.Num(); ++k) {
        const auto nodes = clusters.Of(k);
        EXPECT_FALSE(nodes.empty()) << c.szName;
        EXPECT_LE(std::ssize(nodes), largest) << c.szName;
        EXPECT_TRUE(std::ranges::is_sorted(nodes)) << c.szName;
        EXPECT_TRUE(std::ranges::all_of(nodes, [&](int32_t node) { return of[node] == k; })) << c.szName;
      }
    }
  }
}

TEST(NodeClusters, AreOfOneSizeAndHangTogether) {
  const NodePattern chain = Chain(64, 6);
  const NodeClusters ofChain = Clusters(chain, 16);
  EXPECT_EQ(ofChain.vFirst, (std::vector<int32_t>{0, 16, 32, 48, 64}));
  EXPECT_EQ(CutNum(chain, ofChain), 3);
  // Sixteen squares of four by four, each side of which cuts four pairs: 24 sides.
  const NodePattern grid = PatternWhere(std::vector<int32_t>(256, 6), [](int32_t i, int32_t j) {
    return j - i == 16 || (j - i == 1 && j % 16 != 0);
  });
  const NodeClusters ofGrid = Clusters(grid, 16);
  EXPECT_EQ(ofGrid.Num(), 16);
  EXPECT_EQ(ofGrid.nFirstHub, 16);
  EXPECT_LE(CutNum(grid, ofGrid), 2 * 96);
}

TEST(NodeClusters, HubsStandAlone) {
  // A node that all forty of a chain are coupled with, in the middle of their numbers.
  const NodePattern pattern = PatternWhere(
      std::vector<int32_t>(41, 6), [](int32_t i, int32_t j) { return i == 20 || j == 20 || j == i + 1; });
  const NodeClusters clusters = Clusters(pattern, 8);
  EXPECT_EQ(clusters.nFirstHub, clusters.Num() - 1);
  ASSERT_EQ(clusters.Of(clusters.nFirstHub).size(), 1);
  EXPECT_EQ(clusters.Of(clusters.nFirstHub)[0], 20);
}

TEST(NodeClusters, OfNothing) {
  EXPECT_EQ(Clusters(Chain(0, 6), 16).Num(), 0);
  EXPECT_EQ(Clusters(Chain(3, 6), 0).Num(), 3);
}

}  // namespace
}  // namespace orvo::sparse
