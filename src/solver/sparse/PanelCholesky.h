// Cholesky factorisation of a dense panel: a symmetric block and the rows below it.
#pragma once

#include <cstdint>
#include <span>

namespace orvo::sparse {

/// Columns of a panel, column-major: width x width on top, height - width rows below.
struct DensePanel {
  double* pValues = nullptr;
  int32_t nHeight = 0, nWidth = 0;
};

/// What a pivot is held against, column by column.
struct PivotTest {
  std::span<const double> Diagonal;  ///< of the matrix, before anything was taken off it
  double dTolerance = 0;             ///< a pivot must be above this part of its diagonal element, and above 0
};

/// The panel of L in place of that of the matrix: the lower triangle of the block becomes its factor, the
/// rows below are multiplied by the inverse of its transpose. What stands above the diagonal is neither read
/// nor written. `pivots` gets the squares of the diagonal of L.
///
/// Returns the column whose pivot fails, which includes one that is not finite, and leaves the panel half
/// done then; -1 where all is well.
int32_t FactorPanel(const DensePanel& panel, const PivotTest& test, std::span<double> pivots);

}  // namespace orvo::sparse
