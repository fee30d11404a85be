#include "solver/sparse/NodeMatrix.h"

#include <algorithm>

namespace orvo::sparse {

NodeMatrix::NodeMatrix(const NodePattern& pattern) : pPattern(&pattern) {
  vFirstValue.reserve(static_cast<size_t>(pattern.NodeNum() + pattern.BlockNum()) + 1);
  int64_t next = 0;
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    const int64_t size = pattern.vSizes[node];
    vFirstValue.push_back(next);
    next += size * size;
    for (const int32_t neighbour : pattern.NeighboursBehind(node)) {
      vFirstValue.push_back(next);
      next += size * pattern.vSizes[neighbour];
    }
  }
  vFirstValue.push_back(next);
  Values = ZeroedArray(static_cast<size_t>(next));
}

void NodeMatrix::SetZero() { std::fill_n(Values.get(), Values.size(), 0.0); }

std::span<double> NodeMatrix::Find(int32_t i, int32_t j) {
  if (i < 0 || j < i || j >= pPattern->NodeNum()) return {};
  if (i == j) return Diagonal(i);
  const std::span<const int32_t> behind = pPattern->NeighboursBehind(i);
  const auto found = std::lower_bound(behind.begin(), behind.end(), j);
  if (found == behind.end() || *found != j) return {};
  return Behind(i, found - behind.begin());
}

}  // namespace orvo::sparse
