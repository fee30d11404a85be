// The values of a symmetric matrix on a pattern of nodes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/ZeroedArray.h"
#include "solver/sparse/NodePattern.h"

namespace orvo::sparse {

/// Blocks of the upper triangle, each row-major: of each node the diagonal block, then those with the nodes
/// behind it. Zero at first. Of the diagonal blocks only the upper triangle is ever read.
class NodeMatrix {
 public:
  /// `pattern`, which has no fault, has to outlive this.
  explicit NodeMatrix(const NodePattern& pattern);

  void SetZero();
  const NodePattern& Pattern() const { return *pPattern; }
  /// size x size
  std::span<double> Diagonal(int32_t node) { return BlockAt(node + pPattern->vFirstNeighbour[node]); }
  std::span<const double> Diagonal(int32_t node) const {
    return BlockAt(node + pPattern->vFirstNeighbour[node]);
  }
  /// size of the node x size of the neighbour; `place` counts the node's NeighboursBehind.
  std::span<double> Behind(int32_t node, int64_t place) {
    return BlockAt(node + pPattern->vFirstNeighbour[node] + 1 + place);
  }
  std::span<const double> Behind(int32_t node, int64_t place) const {
    return BlockAt(node + pPattern->vFirstNeighbour[node] + 1 + place);
  }
  /// Block (i, j) with i <= j; empty where it is not in the pattern.
  std::span<double> Find(int32_t i, int32_t j);

 private:
  std::span<double> BlockAt(int64_t block) const {
    return {Values.get() + vFirstValue[block],
            static_cast<size_t>(vFirstValue[block + 1] - vFirstValue[block])};
  }

  const NodePattern* pPattern;
  std::vector<int64_t> vFirstValue;  ///< of each block, and the number of values at the end
  ZeroedArray Values;
};

}  // namespace orvo::sparse
