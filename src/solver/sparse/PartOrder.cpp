#include "solver/sparse/PartOrder.h"

#include <algorithm>

#include "solver/sparse/LevelOrder.h"
#include "solver/sparse/NodeClusters.h"

namespace orvo::sparse {
namespace {

/// The part of each node; the number of parts for those that separate them.
std::vector<int32_t> PartsOf(const NodeNeighbours& neighbours, const NodeClusters& clusters) {
  std::vector<int32_t> part = clusters.OfNodes();
  const int32_t rest = clusters.nFirstHub;
  for (int32_t& of : part) of = std::min(of, rest);
  // Nodes of the clusters before are settled when those of a cluster are looked at.
  for (int32_t cluster = 0; cluster < rest; ++cluster) {
    for (const int32_t node : clusters.Of(cluster)) {
      const auto touches = [&](int32_t other) { return part[other] < cluster; };
      if (std::ranges::any_of(neighbours.Of(node), touches)) part[node] = rest;
    }
  }
  return part;
}

}  // namespace

PartOrder OrderByParts(const NodePattern& pattern, int32_t nodeNum, int32_t largest) {
  const NodeNeighbours neighbours = NeighboursOf(pattern, nodeNum);
  const NodeClusters clusters = ClustersOf(neighbours, largest);
  const std::vector<int32_t> part = PartsOf(neighbours, clusters);
  PartOrder order;
  order.vOrder = OrderByLevels(pattern, nodeNum);
  std::ranges::stable_sort(order.vOrder, {}, [&](int32_t node) { return part[node]; });
  for (int32_t k = 0; k <= clusters.nFirstHub; ++k) {
    const auto first =
        std::ranges::lower_bound(order.vOrder, k, {}, [&](int32_t node) { return part[node]; });
    order.vFirst.push_back(static_cast<int32_t>(first - order.vOrder.begin()));
  }
  return order;
}

}  // namespace orvo::sparse
