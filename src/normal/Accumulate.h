// Adding single blocks to the reduced normal matrix, in either form.
#pragma once

#include <cstdint>
#include <span>

#include "base/RunLog.h"
#include "normal/SubMatrix.h"

namespace orvo {

/// A row-major block that is added.
struct BlockSource {
  const double* pData;
  int32_t nRows, nCols;
};

/// A row-major matrix that takes it.
struct DenseTarget {
  double* pData;
  int32_t nRows, nCols;
};

/// The pattern that the blocks of a sparse matrix follow.
struct BlockPlaces {
  std::span<const SubMatrixRow> Rows;
  int32_t nBlockRowNum;   ///< of the matrix
  int32_t nSubMatrixNum;  ///< IDs that exist
};

/// Adds the source to block (row, col), from the top left corner on; what would leave the block is dropped.
/// The first writer sets the block's place and size. 1; -1 without a source, without blocks and outside of
/// the matrix; 2 left of the diagonal; 0 with a message where the pattern does not have the block.
int AddBlock(const BlockSource& source, int32_t row, int32_t col, const BlockPlaces& places,
             std::span<SubMatrix> target, RunLog& log);
/// The same with the source subtracted, an answer of 0 left of the diagonal, and any ID that `target` has.
int SubtractBlock(const BlockSource& source, int32_t row, int32_t col, const BlockPlaces& places,
                  std::span<SubMatrix> target, RunLog& log);

/// Adds the source from element (row, col) on; 1, or 0 where something is missing or it does not fit, with a
/// message for a place before the first element.
int AddDense(const BlockSource& source, int32_t row, int32_t col, const DenseTarget& target, RunLog& log);
int SubtractDense(const BlockSource& source, int32_t row, int32_t col, const DenseTarget& target,
                  RunLog& log);

}  // namespace orvo
