#include "solver/sparse/Ordering.h"

#include <algorithm>
#include <set>
#include <utility>

namespace orvo::sparse {
namespace {

using Nodes = std::vector<int32_t>;

/// The graph of what is left, in which an eliminated node is an element: the set of nodes it has coupled.
class QuotientGraph {
 public:
  QuotientGraph(const NodePattern& pattern, const std::vector<uint8_t>& isBorder);
  /// The nodes that are no border, in the order of their elimination.
  Nodes Order();

 private:
  struct Node {
    Nodes vNodes;       ///< neighbours not yet covered by an element
    Nodes vElements;    ///< elements it lies in
    Nodes vMerged;      ///< nodes that are eliminated with it
    int64_t nSize = 0;  ///< unknowns, with those of the merged; 0 where gone
    int64_t nDegree = 0;
  };

  void Eliminate(int32_t pivot);
  void FormElement(int32_t pivot);
  void CountOutside(int32_t pivot);
  void Update(int32_t node, int32_t pivot, int64_t elementSize);
  void MergeAlike(int32_t pivot);
  bool AreAlike(const Node& a, const Node& b) const {
    return a.vElements == b.vElements && a.vNodes == b.vNodes;
  }
  void Emit(int32_t node);

  std::vector<Node> vGraph;
  std::vector<Nodes> vElement;    ///< nodes of each element; empty where absorbed
  std::vector<int64_t> vOutside;  ///< of each element the unknowns outside of the pivot's, in hand
  std::vector<int32_t> vMark;
  int32_t nMark = 0;
  int64_t nLeft = 0;                                 ///< unknowns not yet eliminated
  std::set<std::pair<int64_t, int32_t>> Candidates;  ///< degree, node
  Nodes vOrder;
};

QuotientGraph::QuotientGraph(const NodePattern& pattern, const std::vector<uint8_t>& isBorder)
    : vGraph(pattern.vSizes.size()),
      vElement(pattern.vSizes.size()),
      vOutside(pattern.vSizes.size(), -1),
      vMark(pattern.vSizes.size(), 0) {
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    if (isBorder[i]) continue;
    vGraph[i].nSize = pattern.vSizes[i];
    nLeft += pattern.vSizes[i];
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      if (isBorder[j]) continue;
      vGraph[i].vNodes.push_back(j);
      vGraph[j].vNodes.push_back(i);
      vGraph[i].nDegree += pattern.vSizes[j];
      vGraph[j].nDegree += pattern.vSizes[i];
    }
  }
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    if (!isBorder[i]) Candidates.insert({vGraph[i].nDegree, i});
  }
}

Nodes QuotientGraph::Order() {
  while (!Candidates.empty()) {
    const int32_t pivot = Candidates.begin()->second;
    Candidates.erase(Candidates.begin());
    Eliminate(pivot);
  }
  return std::move(vOrder);
}

void QuotientGraph::Emit(int32_t node) {
  // Merged nodes have merged ones of their own.
  Nodes open = {node};
  while (!open.empty()) {
    const int32_t next = open.back();
    open.pop_back();
    vOrder.push_back(next);
    open.insert(open.end(), vGraph[next].vMerged.rbegin(), vGraph[next].vMerged.rend());
  }
}

/// The pivot's neighbours and the nodes of its elements become one element; these elements are gone.
void QuotientGraph::FormElement(int32_t pivot) {
  Nodes& nodes = vElement[pivot];
  const int32_t mark = ++nMark;
  vMark[pivot] = mark;
  const auto add = [&](const Nodes& list) {
    for (const int32_t i : list) {
      if (vGraph[i].nSize == 0 || vMark[i] == mark) continue;
      vMark[i] = mark;
      nodes.push_back(i);
    }
  };
  add(vGraph[pivot].vNodes);
  for (const int32_t element : vGraph[pivot].vElements) {
    add(vElement[element]);
    Nodes().swap(vElement[element]);
  }
  std::sort(nodes.begin(), nodes.end());
}

void QuotientGraph::CountOutside(int32_t pivot) {
  for (const int32_t i : vElement[pivot]) {
    for (const int32_t element : vGraph[i].vElements) {
      if (vElement[element].empty()) continue;
      if (vOutside[element] < 0) {
        vOutside[element] = 0;
        for (const int32_t k : vElement[element]) vOutside[element] += vGraph[k].nSize;
      }
      vOutside[element] -= vGraph[i].nSize;
    }
  }
}

/// Neighbours and elements of a node of the pivot's element, and the bound of its degree.
void QuotientGraph::Update(int32_t node, int32_t pivot, int64_t elementSize) {
  Node& n = vGraph[node];
  int64_t degree = elementSize - n.nSize;
  std::erase_if(n.vElements, [&](int32_t element) {
    // Absorbed, or inside of the new element.
    if (vElement[element].empty() || vOutside[element] == 0) return true;
    degree += vOutside[element];
    return false;
  });
  n.vElements.push_back(pivot);
  std::erase_if(n.vNodes, [&](int32_t i) {
    if (vGraph[i].nSize == 0 || vMark[i] == nMark) return true;
    degree += vGraph[i].nSize;
    return false;
  });
  degree = std::min({degree, n.nDegree + elementSize - n.nSize, nLeft - n.nSize});
  Candidates.erase({n.nDegree, node});
  n.nDegree = degree;
}

/// Nodes of the element with the same neighbours and elements become one.
void QuotientGraph::MergeAlike(int32_t pivot) {
  const auto hash = [this](int32_t i) {
    uint64_t sum = 0;
    for (const int32_t k : vGraph[i].vNodes) sum += static_cast<uint64_t>(k);
    for (const int32_t k : vGraph[i].vElements) sum += static_cast<uint64_t>(k);
    return sum;
  };
  std::vector<std::pair<uint64_t, int32_t>> keys;
  for (const int32_t i : vElement[pivot]) keys.push_back({hash(i), i});
  std::sort(keys.begin(), keys.end());
  for (size_t a = 0; a < keys.size(); ++a) {
    Node& kept = vGraph[keys[a].second];
    if (kept.nSize == 0) continue;
    for (size_t b = a + 1; b < keys.size() && keys[b].first == keys[a].first; ++b) {
      Node& other = vGraph[keys[b].second];
      if (other.nSize == 0 || !AreAlike(kept, other)) continue;
      kept.nDegree -= other.nSize;
      kept.nSize += std::exchange(other.nSize, 0);
      kept.vMerged.push_back(keys[b].second);
      Nodes().swap(other.vNodes);
      Nodes().swap(other.vElements);
    }
  }
  std::erase_if(vElement[pivot], [this](int32_t i) { return vGraph[i].nSize == 0; });
}

void QuotientGraph::Eliminate(int32_t pivot) {
  FormElement(pivot);
  nLeft -= std::exchange(vGraph[pivot].nSize, 0);
  Emit(pivot);
  CountOutside(pivot);
  int64_t elementSize = 0;
  for (const int32_t i : vElement[pivot]) elementSize += vGraph[i].nSize;
  Nodes touched;
  for (const int32_t i : vElement[pivot]) {
    for (const int32_t element : vGraph[i].vElements) touched.push_back(element);
    Update(i, pivot, elementSize);
  }
  for (const int32_t element : touched) {
    if (vOutside[element] == 0) Nodes().swap(vElement[element]);
    vOutside[element] = -1;
  }
  MergeAlike(pivot);
  for (const int32_t i : vElement[pivot]) Candidates.insert({vGraph[i].nDegree, i});
  Nodes().swap(vGraph[pivot].vNodes);
  Nodes().swap(vGraph[pivot].vElements);
}

}  // namespace

std::vector<int32_t> OrderNodes(const NodePattern& pattern, std::span<const int32_t> border) {
  std::vector<uint8_t> isBorder(pattern.vSizes.size(), 0);
  for (const int32_t node : border) {
    if (node >= 0 && node < pattern.NodeNum()) isBorder[node] = 1;
  }
  std::vector<int32_t> order = QuotientGraph(pattern, isBorder).Order();
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    if (isBorder[node]) order.push_back(node);
  }
  return order;
}

bool IsPermutation(std::span<const int32_t> order, int32_t nodeNum) {
  if (static_cast<int64_t>(order.size()) != nodeNum) return false;
  std::vector<uint8_t> seen(order.size(), 0);
  for (const int32_t node : order) {
    if (node < 0 || node >= nodeNum || seen[node]) return false;
    seen[node] = 1;
  }
  return true;
}

std::vector<int32_t> PositionsOf(std::span<const int32_t> order) {
  std::vector<int32_t> positions(order.size());
  for (size_t k = 0; k < order.size(); ++k) positions[order[k]] = static_cast<int32_t>(k);
  return positions;
}

}  // namespace orvo::sparse
