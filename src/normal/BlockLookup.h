// Blocks of the pattern, found by row and column.
#pragma once

#include <cstdint>
#include <span>

#include "normal/NormalEquations.h"
#include "normal/SortedColumns.h"
#include "normal/SubMatrix.h"

namespace orvo {

/// The ID of block (row, col), or -1 where the pattern does not have it.
inline int32_t FindBlockId(std::span<const SubMatrixRow> rows, int32_t row, int32_t col) {
  if (row < 0 || col < 0 || static_cast<size_t>(row) >= rows.size()) return -1;
  const SubMatrixRow& blockRow = rows[static_cast<size_t>(row)];
  int32_t place = 0;
  return FindSortedColumn(col, blockRow.vColumns, place) == 1 ? blockRow.nFirstId + place : -1;
}

/// The diagonal block of a row; null where the pattern or the matrix does not have it.
inline SubMatrix* FindDiagonalBlock(NormalEquations& normal, int32_t row) {
  const int32_t id = FindBlockId(normal.pSubMatrixRows, row, row);
  return id < 0 || static_cast<size_t>(id) >= normal.pSubMatrices.size()
             ? nullptr
             : &normal.pSubMatrices[static_cast<size_t>(id)];
}

}  // namespace orvo
