// Blocks and block rows of the reduced normal matrix, upper block triangle only.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace orvo {

/// The stored columns of one block row.
struct SubMatrixRow {
  int32_t nFirstId = 0;           ///< sub-matrix ID of the row's first block
  std::vector<int32_t> vColumns;  ///< strictly ascending, none left of the diagonal
};

/// One stored block. All zero until the first contribution, which sets its place and size.
struct SubMatrix {
  int32_t nRow = 0, nCol = 0;        ///< block row and column, nRow <= nCol
  int32_t nRows = 0, nCols = 0;      ///< size
  double* pData = nullptr;           ///< row-major; null until the first contribution
  std::unique_ptr<double[]> pOwned;  ///< holds the data of a block that is not part of the common store

  std::span<double> Data() const {
    return {pData, pData ? static_cast<size_t>(nRows) * static_cast<size_t>(nCols) : 0};
  }
};

/// One thread's slice of a section's points, both ends inclusive.
struct SubTask {
  int32_t nFirst = 0, nLast = 0;
  int32_t nThread = 0;
  int32_t nImagePointNum = 0;
  int64_t nMeasurementNum = 0;  ///< that there are of these
  int64_t nLargestPoint = 0;    ///< most of them on one point
};

}  // namespace orvo
