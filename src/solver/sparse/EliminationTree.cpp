#include "solver/sparse/EliminationTree.h"

#include <algorithm>
#include <numeric>

namespace orvo::sparse {

EarlierNeighbours NeighboursBefore(const NodePattern& pattern, std::span<const int32_t> positions) {
  const int32_t nodeNum = pattern.NodeNum();
  EarlierNeighbours before;
  before.vFirst.assign(static_cast<size_t>(nodeNum) + 1, 0);
  const auto forEachPair = [&](const auto& take) {
    for (int32_t i = 0; i < nodeNum; ++i) {
      for (const int32_t j : pattern.NeighboursBehind(i)) {
        take(std::min(positions[i], positions[j]), std::max(positions[i], positions[j]));
      }
    }
  };
  forEachPair([&](int32_t, int32_t later) { ++before.vFirst[later + 1]; });
  std::partial_sum(before.vFirst.begin(), before.vFirst.end(), before.vFirst.begin());
  before.vPositions.resize(before.vFirst.back());
  std::vector<int64_t> next(before.vFirst.begin(), before.vFirst.end() - 1);
  forEachPair([&](int32_t earlier, int32_t later) { before.vPositions[next[later]++] = earlier; });
  for (int32_t k = 0; k < nodeNum; ++k) {
    std::sort(before.vPositions.begin() + before.vFirst[k], before.vPositions.begin() + before.vFirst[k + 1]);
  }
  return before;
}

std::vector<int32_t> ParentsOf(const EarlierNeighbours& before) {
  const auto nodeNum = static_cast<int32_t>(before.vFirst.size()) - 1;
  std::vector<int32_t> parents(nodeNum, -1), ancestors(nodeNum, -1);
  for (int32_t k = 0; k < nodeNum; ++k) {
    for (int32_t i : before.Of(k)) {
      while (i != -1 && i != k) {
        const int32_t up = ancestors[i];
        ancestors[i] = k;
        if (up == -1) parents[i] = k;
        i = up;
      }
    }
  }
  return parents;
}

std::vector<int32_t> Postorder(std::span<const int32_t> parents) {
  const auto count = static_cast<int32_t>(parents.size());
  std::vector<int32_t> firstChild(count, -1), nextSibling(count, -1), order, open;
  int32_t firstRoot = -1;
  for (int32_t k = count - 1; k >= 0; --k) {
    int32_t& first = parents[k] < 0 ? firstRoot : firstChild[parents[k]];
    nextSibling[k] = first;
    first = k;
  }
  order.reserve(count);
  for (int32_t root = firstRoot; root != -1; root = nextSibling[root]) {
    open.push_back(root);
    while (!open.empty()) {
      const int32_t k = open.back();
      const int32_t child = firstChild[k];
      if (child != -1) {
        firstChild[k] = nextSibling[child];
        open.push_back(child);
      } else {
        order.push_back(k);
        open.pop_back();
      }
    }
  }
  return order;
}

ColumnCounts CountColumns(const EarlierNeighbours& before, std::span<const int32_t> parents,
                          std::span<const int32_t> sizes) {
  const auto nodeNum = static_cast<int32_t>(parents.size());
  ColumnCounts counts{std::vector<int32_t>(nodeNum, 0), std::vector<int64_t>(nodeNum, 0)};
  std::vector<int32_t> seenBy(nodeNum, -1);
  for (int32_t row = 0; row < nodeNum; ++row) {
    for (int32_t k : before.Of(row)) {
      for (; k != row && seenBy[k] != row; k = parents[k]) {
        seenBy[k] = row;
        ++counts.vNodes[k];
        counts.vUnknowns[k] += sizes[row];
      }
    }
  }
  return counts;
}

}  // namespace orvo::sparse
