// The elimination tree of a pattern under an order, and how much stands below each diagonal block of the
// factor.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/sparse/NodePattern.h"

namespace orvo::sparse {

/// Coupled nodes of an order, as positions: of each position those before it, ascending.
struct EarlierNeighbours {
  std::vector<int64_t> vFirst;
  std::vector<int32_t> vPositions;

  std::span<const int32_t> Of(int32_t position) const {
    return std::span(vPositions).subspan(vFirst[position], vFirst[position + 1] - vFirst[position]);
  }
};

/// `positions` is the position of each node, a permutation.
EarlierNeighbours NeighboursBefore(const NodePattern& pattern, std::span<const int32_t> positions);

/// The parent of each position: the first position below the diagonal in its column of the factor; -1 for a
/// root. Liu 1990, The role of elimination trees in sparse factorization, algorithm 4.2, with paths
/// compressed.
std::vector<int32_t> ParentsOf(const EarlierNeighbours& before);

/// Places in a postorder of a forest, children ascending: result[k] is what comes k-th. Parents stand behind
/// their children.
std::vector<int32_t> Postorder(std::span<const int32_t> parents);

/// What stands below the diagonal block in each column of the factor.
struct ColumnCounts {
  std::vector<int32_t> vNodes;     ///< blocks
  std::vector<int64_t> vUnknowns;  ///< rows of these
};

/// Counted along the row subtrees (Liu 1990, section 5): one step for each block of the factor. `sizes` are
/// the unknowns by position.
ColumnCounts CountColumns(const EarlierNeighbours& before, std::span<const int32_t> parents,
                          std::span<const int32_t> sizes);

}  // namespace orvo::sparse
