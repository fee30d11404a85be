#include "solver/sparse/LevelOrder.h"

#include <algorithm>
#include <utility>

#include "solver/sparse/NodeNeighbours.h"

namespace orvo::sparse {
namespace {

/// All neighbours of each node, those with few of their own first.
NodeNeighbours NeighboursByDegree(const NodePattern& pattern, int32_t nodeNum) {
  NodeNeighbours of = NeighboursOf(pattern, nodeNum);
  for (int32_t i = 0; i < nodeNum; ++i) {
    std::sort(of.vNodes.begin() + of.vFirst[i], of.vNodes.begin() + of.vFirst[i + 1],
              [&of](int32_t a, int32_t b) {
                return of.Degree(a) != of.Degree(b) ? of.Degree(a) < of.Degree(b) : a < b;
              });
  }
  return of;
}

/// What hangs together with a node, level by level.
struct Levels {
  std::vector<int32_t> vNodes;
  int32_t nDepth = 0;
  int32_t nEnd = -1;  ///< in the last level, one with the fewest neighbours
};

/// Nodes seen are those whose mark is `mark`.
Levels LevelsFrom(const NodeNeighbours& neighbours, int32_t start, int32_t mark,
                  std::vector<int32_t>& marks) {
  Levels levels;
  levels.vNodes.push_back(start);
  marks[start] = mark;
  size_t begin = 0, end = 1;
  for (; begin < end; begin = end, end = levels.vNodes.size(), ++levels.nDepth) {
    levels.nEnd =
        *std::min_element(levels.vNodes.begin() + static_cast<int64_t>(begin),
                          levels.vNodes.begin() + static_cast<int64_t>(end),
                          [&](int32_t a, int32_t b) { return neighbours.Degree(a) < neighbours.Degree(b); });
    for (size_t k = begin; k < end; ++k) {
      for (const int32_t other : neighbours.Of(levels.vNodes[k])) {
        if (marks[other] == mark) continue;
        marks[other] = mark;
        levels.vNodes.push_back(other);
      }
    }
  }
  return levels;
}

}  // namespace

std::vector<int32_t> OrderByLevels(const NodePattern& pattern, int32_t nodeNum) {
  const NodeNeighbours neighbours = NeighboursByDegree(pattern, nodeNum);
  std::vector<int32_t> order, marks(static_cast<size_t>(nodeNum), -1);
  int32_t mark = 0;
  for (int32_t node = 0; node < nodeNum; ++node) {
    if (marks[node] >= 0) continue;
    Levels levels = LevelsFrom(neighbours, node, mark++, marks);
    // From the end farthest away, as long as that makes for more levels.
    for (;;) {
      Levels farther = LevelsFrom(neighbours, levels.nEnd, mark++, marks);
      const bool isDeeper = farther.nDepth > levels.nDepth;
      levels = std::move(farther);
      if (!isDeeper) break;
    }
    order.insert(order.end(), levels.vNodes.begin(), levels.vNodes.end());
  }
  std::reverse(order.begin(), order.end());
  return order;
}

}  // namespace orvo::sparse
