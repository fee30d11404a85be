// Nodes that stand close together, as clusters of about the same size.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/sparse/NodeNeighbours.h"

namespace orvo::sparse {

/// A node with more neighbours than this times the mean is no part of a place: the drift of a strip, which
/// all its images have.
inline constexpr int64_t kHubDegrees = 6;

struct NodeClusters {
  std::vector<int32_t> vFirst;  ///< by cluster into vNodes, and their number at the end
  std::vector<int32_t> vNodes;  ///< ascending in a cluster
  int32_t nFirstHub = 0;        ///< clusters from this one on are single nodes with very many neighbours

  int32_t Num() const { return static_cast<int32_t>(vFirst.size()) - 1; }
  std::span<const int32_t> Of(int32_t cluster) const {
    return std::span(vNodes).subspan(vFirst[cluster], vFirst[cluster + 1] - vFirst[cluster]);
  }
  /// The cluster of each node.
  std::vector<int32_t> OfNodes() const;
};

/// The net is halved again and again, each time across its length: level by level from an end that is far
/// away, up to where half of the nodes are reached (George & Liu 1981, Computer solution of large sparse
/// positive definite systems, 8: their dissections, with the nodes of a separator in the half they belong
/// to). No cluster has more than `largest` nodes; each node with more than kHubDegrees times as many
/// neighbours as the mean is one by itself.
NodeClusters ClustersOf(const NodeNeighbours& neighbours, int32_t largest);

}  // namespace orvo::sparse
