#include "solver/sparse/SymbolicFactor.h"

#include <algorithm>
#include <numeric>

#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

std::vector<int32_t> Picked(std::span<const int32_t> values, std::span<const int32_t> places) {
  std::vector<int32_t> picked;
  picked.reserve(places.size());
  for (const int32_t place : places) picked.push_back(values[place]);
  return picked;
}

std::vector<int32_t> PostorderOfNodes(const NodePattern& pattern, std::span<const int32_t> order) {
  const std::vector<int32_t> parents = ParentsOf(NeighboursBefore(pattern, PositionsOf(order)));
  return Picked(order, Postorder(parents));
}

/// The sums of squares over the columns of a node: h + size down to h + 1, h the rows below.
double Operations(int64_t size, int64_t below) {
  double sum = 0;
  for (int64_t column = 1; column <= size; ++column) {
    const auto height = static_cast<double>(below + column);
    sum += height * height;
  }
  return sum;
}

void CountFill(const ColumnCounts& counts, std::span<const int32_t> sizes, SymbolicFactor& factor) {
  for (size_t k = 0; k < sizes.size(); ++k) {
    const int64_t size = sizes[k], below = counts.vUnknowns[k];
    factor.nEntryNum += size * (size + 1) / 2 + size * below;
    factor.dOperationNum += Operations(size, below);
  }
}

/// Orders the nodes supernode by supernode, these in a postorder of their tree.
void PlaceSupernodes(const SupernodeTree& tree, std::span<const int32_t> order,
                     std::span<const int32_t> sizes, SymbolicFactor& factor) {
  const std::vector<int32_t> sequence = Postorder(tree.vParents), numbers = PositionsOf(sequence);
  const size_t count = sequence.size();
  std::vector<std::vector<int32_t>> members(count);
  for (size_t k = 0; k < order.size(); ++k) members[numbers[tree.vOf[k]]].push_back(static_cast<int32_t>(k));
  factor.vFirstUnknown.assign(1, 0);
  for (size_t s = 0; s < count; ++s) {
    Supernode supernode;
    supernode.nFirst = factor.NodeNum();
    const int32_t parent = tree.vParents[sequence[s]];
    supernode.nParent = parent < 0 ? -1 : numbers[parent];
    for (const int32_t k : members[s]) {
      factor.vOrder.push_back(order[k]);
      factor.vSizes.push_back(sizes[k]);
      factor.vFirstUnknown.push_back(factor.vFirstUnknown.back() + sizes[k]);
      factor.vOf.push_back(static_cast<int32_t>(s));
      supernode.nWidth += sizes[k];
    }
    supernode.nEnd = factor.NodeNum();
    factor.vSupernodes.push_back(supernode);
  }
  factor.vPositions = PositionsOf(factor.vOrder);
}

/// Rows of each supernode: those of the matrix below its columns and those of its children, without its
/// columns.
void FindRows(const NodePattern& pattern, SymbolicFactor& factor) {
  const int32_t nodeNum = factor.NodeNum();
  std::vector<std::vector<int32_t>> behind(nodeNum);
  for (int32_t i = 0; i < nodeNum; ++i) {
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      const int32_t a = factor.vPositions[i], b = factor.vPositions[j];
      behind[std::min(a, b)].push_back(std::max(a, b));
    }
  }
  std::vector<std::vector<int32_t>> children(factor.vSupernodes.size());
  std::vector<int32_t> seenBy(nodeNum, -1);
  for (size_t s = 0; s < factor.vSupernodes.size(); ++s) {
    Supernode& supernode = factor.vSupernodes[s];
    supernode.nFirstRow = static_cast<int64_t>(factor.vRows.size());
    const auto add = [&](int32_t row) {
      if (row < supernode.nEnd || seenBy[row] == static_cast<int32_t>(s)) return;
      seenBy[row] = static_cast<int32_t>(s);
      factor.vRows.push_back(row);
    };
    for (int32_t k = supernode.nFirst; k < supernode.nEnd; ++k) {
      for (const int32_t row : behind[k]) add(row);
      std::vector<int32_t>().swap(behind[k]);
    }
    for (const int32_t child : children[s]) {
      const Supernode& c = factor.vSupernodes[child];
      for (int64_t r = c.nFirstRow; r < c.nEndRow; ++r) add(factor.vRows[r]);
    }
    supernode.nEndRow = static_cast<int64_t>(factor.vRows.size());
    std::sort(factor.vRows.begin() + supernode.nFirstRow, factor.vRows.end());
    if (supernode.nParent >= 0) children[supernode.nParent].push_back(static_cast<int32_t>(s));
  }
}

void PlaceRows(SymbolicFactor& factor) {
  factor.vRowPlaces.reserve(factor.vRows.size());
  for (Supernode& supernode : factor.vSupernodes) {
    supernode.nHeight = supernode.nWidth;
    for (const int32_t row : factor.Rows(supernode)) {
      factor.vRowPlaces.push_back(supernode.nHeight);
      supernode.nHeight += factor.vSizes[row];
    }
    supernode.nFirstValue = factor.nValueNum;
    factor.nValueNum += supernode.ValueNum();
  }
}

}  // namespace

int32_t SymbolicFactor::PlaceIn(const Supernode& supernode, int32_t position) const {
  if (position < supernode.nFirst) return -1;
  if (position < supernode.nEnd) {
    return static_cast<int32_t>(vFirstUnknown[position] - vFirstUnknown[supernode.nFirst]);
  }
  const std::span<const int32_t> rows = Rows(supernode);
  const auto found = std::lower_bound(rows.begin(), rows.end(), position);
  if (found == rows.end() || *found != position) return -1;
  return vRowPlaces[supernode.nFirstRow + (found - rows.begin())];
}

SymbolicFactor AnalyseFactor(const NodePattern& pattern, std::span<const int32_t> order,
                             std::span<const AmalgamationRule> rules) {
  const std::vector<int32_t> postorder = PostorderOfNodes(pattern, order);
  const std::vector<int32_t> sizes = Picked(pattern.vSizes, postorder);
  const EarlierNeighbours before = NeighboursBefore(pattern, PositionsOf(postorder));
  const std::vector<int32_t> parents = ParentsOf(before);
  const ColumnCounts counts = CountColumns(before, parents, sizes);
  SymbolicFactor factor;
  CountFill(counts, sizes, factor);
  PlaceSupernodes(FormSupernodes(parents, counts, sizes, rules), postorder, sizes, factor);
  FindRows(pattern, factor);
  PlaceRows(factor);
  return factor;
}

}  // namespace orvo::sparse
