#include "solver/sparse/NodeClusters.h"

#include <algorithm>
#include <utility>

namespace orvo::sparse {
namespace {

/// Halves of halves of the nodes, as parts of one list.
class Halving {
 public:
  Halving(const NodeNeighbours& neighbours, std::vector<int32_t> nodes)
      : pNeighbours(&neighbours),
        vNodes(std::move(nodes)),
        vPart(static_cast<size_t>(neighbours.NodeNum()), -1),
        vSeen(static_cast<size_t>(neighbours.NodeNum()), -1) {}

  /// Adds the parts to `clusters`.
  void Run(int32_t largest, NodeClusters& clusters);

 private:
  struct Range {
    int32_t nBegin = 0, nEnd = 0;
  };

  void Order(Range range);
  void Reach(int32_t start, int32_t part);

  const NodeNeighbours* pNeighbours;
  std::vector<int32_t> vNodes;
  std::vector<int32_t> vPart;  ///< of the range in hand those not yet ordered; by node
  std::vector<int32_t> vSeen;  ///< by which search
  std::vector<int32_t> vReached;
  int32_t nPart = 0, nSearch = 0;
};

/// All of the part that hangs together with a node, level by level.
void Halving::Reach(int32_t start, int32_t part) {
  ++nSearch;
  vReached.assign(1, start);
  vSeen[start] = nSearch;
  for (size_t k = 0; k < vReached.size(); ++k) {
    for (const int32_t other : pNeighbours->Of(vReached[k])) {
      if (vPart[other] != part || vSeen[other] == nSearch) continue;
      vSeen[other] = nSearch;
      vReached.push_back(other);
    }
  }
}

void Halving::Order(Range range) {
  const int32_t part = nPart++;
  for (int32_t k = range.nBegin; k < range.nEnd; ++k) vPart[vNodes[k]] = part;
  std::vector<int32_t> ordered;
  for (int32_t k = range.nBegin; k < range.nEnd; ++k) {
    if (vPart[vNodes[k]] != part) continue;
    Reach(vNodes[k], part);
    Reach(vReached.back(), part);
    Reach(vReached.back(), part);
    for (const int32_t node : vReached) vPart[node] = -1;
    ordered.insert(ordered.end(), vReached.begin(), vReached.end());
  }
  std::copy(ordered.begin(), ordered.end(), vNodes.begin() + range.nBegin);
}

void Halving::Run(int32_t largest, NodeClusters& clusters) {
  std::vector<Range> open{{0, static_cast<int32_t>(vNodes.size())}};
  while (!open.empty()) {
    const Range range = open.back();
    open.pop_back();
    if (range.nEnd - range.nBegin <= largest) {
      const auto begin = vNodes.begin() + range.nBegin, end = vNodes.begin() + range.nEnd;
      std::sort(begin, end);
      clusters.vNodes.insert(clusters.vNodes.end(), begin, end);
      if (begin != end) clusters.vFirst.push_back(static_cast<int32_t>(clusters.vNodes.size()));
      continue;
    }
    Order(range);
    const int32_t middle = range.nBegin + (range.nEnd - range.nBegin) / 2;
    open.push_back({middle, range.nEnd});
    open.push_back({range.nBegin, middle});
  }
}

}  // namespace

std::vector<int32_t> NodeClusters::OfNodes() const {
  std::vector<int32_t> of(vNodes.size());
  for (int32_t cluster = 0; cluster < Num(); ++cluster) {
    for (const int32_t node : Of(cluster)) of[node] = cluster;
  }
  return of;
}

NodeClusters ClustersOf(const NodeNeighbours& neighbours, int32_t largest) {
  NodeClusters clusters;
  clusters.vFirst.assign(1, 0);
  std::vector<int32_t> places, hubs;
  const int64_t all = std::ssize(neighbours.vNodes), nodeNum = neighbours.NodeNum();
  for (int32_t node = 0; node < nodeNum; ++node) {
    const bool isHub = neighbours.Degree(node) * nodeNum > kHubDegrees * all;
    (isHub ? hubs : places).push_back(node);
  }
  Halving(neighbours, std::move(places)).Run(std::max(largest, 1), clusters);
  clusters.nFirstHub = clusters.Num();
  for (const int32_t hub : hubs) {
    clusters.vNodes.push_back(hub);
    clusters.vFirst.push_back(static_cast<int32_t>(clusters.vNodes.size()));
  }
  return clusters;
}

}  // namespace orvo::sparse
