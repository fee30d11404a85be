#include "solver/sparse/NodeNeighbours.h"

#include <numeric>

namespace orvo::sparse {

NodeNeighbours NeighboursOf(const NodePattern& pattern, int32_t nodeNum) {
  NodeNeighbours of;
  of.vFirst.assign(static_cast<size_t>(nodeNum) + 1, 0);
  // Node by node, so that each meets its neighbours in ascending order.
  const auto forEach = [&](const auto& take) {
    for (int32_t i = 0; i < nodeNum; ++i) {
      for (const int32_t j : pattern.NeighboursBehind(i)) {
        if (j >= nodeNum) break;
        take(i, j);
        take(j, i);
      }
    }
  };
  forEach([&](int32_t i, int32_t) { ++of.vFirst[i + 1]; });
  std::partial_sum(of.vFirst.begin(), of.vFirst.end(), of.vFirst.begin());
  of.vNodes.resize(of.vFirst.back());
  std::vector<int64_t> next(of.vFirst.begin(), of.vFirst.end() - 1);
  forEach([&](int32_t i, int32_t j) { of.vNodes[next[i]++] = j; });
  return of;
}

}  // namespace orvo::sparse
