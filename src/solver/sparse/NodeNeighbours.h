// All neighbours of each node of a pattern, those before it and those behind it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/sparse/NodePattern.h"

namespace orvo::sparse {

struct NodeNeighbours {
  std::vector<int64_t> vFirst;  ///< by node into vNodes, and their number at the end
  std::vector<int32_t> vNodes;  ///< ascending for each node

  int32_t NodeNum() const { return static_cast<int32_t>(vFirst.size()) - 1; }
  int64_t Degree(int32_t node) const { return vFirst[node + 1] - vFirst[node]; }
  std::span<const int32_t> Of(int32_t node) const {
    return std::span(vNodes).subspan(vFirst[node], Degree(node));
  }
};

/// Of the nodes below `nodeNum`, among themselves. The pattern must have no fault.
NodeNeighbours NeighboursOf(const NodePattern& pattern, int32_t nodeNum);

}  // namespace orvo::sparse
