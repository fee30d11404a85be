// Where the rows of one supernode lie in the panel of another.
#pragma once

#include <cstdint>
#include <vector>

#include "solver/sparse/SymbolicFactor.h"

namespace orvo::sparse {

/// Rows that follow each other in both.
struct RowRun {
  int32_t nFrom = 0;  ///< first row, counted from the first row in hand
  int32_t nTo = 0;    ///< where it lies in the other panel
  int32_t nLength = 0;
};

/// The runs of the rows from `firstRow` (in SymbolicFactor::vRows) to the end of `source` in the panel of
/// `target`, which is an ancestor of it and holds the node of that first row.
void FindRuns(const SymbolicFactor& factor, const Supernode& source, int64_t firstRow,
              const Supernode& target, std::vector<RowRun>& runs);

/// The first row of `source` from `firstRow` on that is no column of the supernode that holds `firstRow`.
int64_t EndOfSegment(const SymbolicFactor& factor, const Supernode& source, int64_t firstRow);

}  // namespace orvo::sparse
