// Where the factor of a pattern has its values: the supernodes and their rows.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/sparse/Amalgamation.h"
#include "solver/sparse/NodePattern.h"

namespace orvo::sparse {

/// Columns of the factor that are stored as one dense panel, column-major: their own rows on top, then the
/// rows below. All numbers of nodes are positions in the order of elimination.
struct Supernode {
  int32_t nFirst = 0, nEnd = 0;  ///< its nodes, the last one not included
  int32_t nWidth = 0;            ///< unknowns of these
  int32_t nHeight = 0;           ///< rows of the panel: nWidth, and the unknowns of the rows below
  int32_t nParent = -1;
  int64_t nFirstRow = 0, nEndRow = 0;  ///< its rows below the diagonal, in SymbolicFactor::vRows
  int64_t nFirstValue = 0;             ///< of the panel

  int64_t ValueNum() const { return int64_t{nHeight} * nWidth; }
};

struct SymbolicFactor {
  std::vector<int32_t> vOrder, vPositions;  ///< node at each position, position of each node
  std::vector<int32_t> vSizes;              ///< unknowns by position
  std::vector<int64_t> vFirstUnknown;  ///< by position in the order of elimination, and the number at the end
  std::vector<Supernode> vSupernodes;  ///< each behind its children
  std::vector<int32_t> vOf;            ///< supernode of each position
  std::vector<int32_t> vRows;          ///< positions below the diagonal by supernode, ascending
  std::vector<int32_t> vRowPlaces;     ///< first row of each of them in the panel
  int64_t nEntryNum = 0;               ///< of the factor, diagonal included, as if no zeros were stored
  int64_t nValueNum = 0;               ///< of the panels: zeros and the triangles above the diagonal included
  double dOperationNum = 0;            ///< sum of the squares of the column heights, for nEntryNum

  int32_t NodeNum() const { return static_cast<int32_t>(vOrder.size()); }
  int64_t UnknownNum() const { return vFirstUnknown.back(); }
  std::span<const int32_t> Rows(const Supernode& supernode) const {
    return std::span(vRows).subspan(supernode.nFirstRow, supernode.nEndRow - supernode.nFirstRow);
  }
  /// First row of the node at `position` in the panel; -1 where the panel does not have it.
  int32_t PlaceIn(const Supernode& supernode, int32_t position) const;
};

/// `pattern` has no fault, `order` is a permutation of its nodes (OrderNodes). The order of the factor is
/// another one that fills in the same: postorders of the trees of nodes and of supernodes make what belongs
/// together stand together.
SymbolicFactor AnalyseFactor(const NodePattern& pattern, std::span<const int32_t> order,
                             std::span<const AmalgamationRule> rules = kAmalgamationRules);

}  // namespace orvo::sparse
