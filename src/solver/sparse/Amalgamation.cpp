#include "solver/sparse/Amalgamation.h"

#include <algorithm>
#include <utility>

namespace orvo::sparse {
namespace {

struct Front {
  int64_t nWidth = 0, nBelow = 0;  ///< unknowns of its columns, rows below them
  int64_t nZeros = 0;              ///< stored for nothing
  int32_t nParent = -1;
  int32_t nInto = -1;  ///< the front that has taken it up

  int64_t Stored() const { return nWidth * (nWidth + 1) / 2 + nWidth * nBelow; }
};

/// Columns that follow each other as parent and child with the same rows below.
std::vector<Front> FormChains(std::span<const int32_t> parents, const ColumnCounts& counts,
                              std::span<const int32_t> sizes, std::vector<int32_t>& of) {
  const auto nodeNum = static_cast<int32_t>(parents.size());
  std::vector<Front> fronts;
  for (int32_t k = 0; k < nodeNum; ++k) {
    const bool goesOn = k > 0 && parents[k - 1] == k && counts.vNodes[k - 1] == counts.vNodes[k] + 1;
    if (!goesOn) fronts.emplace_back();
    of[k] = static_cast<int32_t>(fronts.size()) - 1;
    fronts.back().nWidth += sizes[k];
    fronts.back().nBelow = counts.vUnknowns[k];
  }
  for (int32_t k = 0; k < nodeNum; ++k) {
    if (parents[k] >= 0 && of[parents[k]] != of[k]) fronts[of[k]].nParent = of[parents[k]];
  }
  return fronts;
}

int64_t NewZeros(const Front& child, const Front& parent) {
  return child.nWidth * (parent.nWidth + parent.nBelow - child.nBelow);
}

Front Joined(const Front& child, Front parent) {
  parent.nZeros += child.nZeros + NewZeros(child, parent);
  parent.nWidth += child.nWidth;
  return parent;
}

bool IsAllowed(const Front& front, std::span<const AmalgamationRule> rules) {
  const auto zeros = static_cast<double>(front.nZeros), stored = static_cast<double>(front.Stored());
  for (const AmalgamationRule& rule : rules) {
    if (front.nWidth <= rule.nWidth) return zeros <= rule.dZeros * stored;
  }
  return front.nZeros == 0;
}

void JoinFronts(std::vector<Front>& fronts, std::span<const AmalgamationRule> rules) {
  std::vector<std::vector<int32_t>> children(fronts.size());
  for (size_t f = 0; f < fronts.size(); ++f) {
    if (fronts[f].nParent >= 0) children[fronts[f].nParent].push_back(static_cast<int32_t>(f));
  }
  for (size_t f = 0; f < fronts.size(); ++f) {
    std::vector<std::pair<int64_t, int32_t>> candidates;
    for (const int32_t child : children[f]) candidates.push_back({NewZeros(fronts[child], fronts[f]), child});
    std::sort(candidates.begin(), candidates.end());
    for (const auto& [zeros, child] : candidates) {
      const Front joined = Joined(fronts[child], fronts[f]);
      if (!IsAllowed(joined, rules)) continue;
      fronts[f] = joined;
      fronts[child].nInto = static_cast<int32_t>(f);
    }
  }
}

}  // namespace

SupernodeTree FormSupernodes(std::span<const int32_t> parents, const ColumnCounts& counts,
                             std::span<const int32_t> sizes, std::span<const AmalgamationRule> rules) {
  SupernodeTree tree;
  tree.vOf.resize(parents.size());
  std::vector<Front> fronts = FormChains(parents, counts, sizes, tree.vOf);
  JoinFronts(fronts, rules);
  // A front is taken up by one behind it, so that from the end on all is known.
  std::vector<int32_t> number(fronts.size(), -1), kept;
  for (size_t f = 0; f < fronts.size(); ++f) {
    if (fronts[f].nInto >= 0) continue;
    number[f] = static_cast<int32_t>(kept.size());
    kept.push_back(static_cast<int32_t>(f));
  }
  for (size_t f = fronts.size(); f-- > 0;) {
    if (fronts[f].nInto >= 0) number[f] = number[fronts[f].nInto];
  }
  for (int32_t& front : tree.vOf) front = number[front];
  for (const int32_t f : kept) {
    const int32_t parent = fronts[f].nParent;
    tree.vParents.push_back(parent < 0 ? -1 : number[parent]);
  }
  return tree;
}

}  // namespace orvo::sparse
