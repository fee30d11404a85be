#include "normal/Accumulate.h"

#include <algorithm>

#include "normal/BlockLookup.h"

namespace orvo {
namespace {

/// target += sign * source, from the target's top-left corner on; what would leave the target is dropped.
void Accumulate(const BlockSource& source, double sign, SubMatrix& target) {
  for (int32_t r = 0; r < std::min(source.nRows, target.nRows); ++r) {
    const double* from = source.pData + static_cast<ptrdiff_t>(r) * source.nCols;
    double* to = target.pData + static_cast<ptrdiff_t>(r) * target.nCols;
    for (int32_t c = 0; c < std::min(source.nCols, target.nCols); ++c) to[c] += sign * from[c];
  }
}

void CreateBlock(const BlockSource& source, int32_t row, int32_t col, SubMatrix& target) {
  target.nRow = row;
  target.nCol = col;
  target.nRows = source.nRows;
  target.nCols = source.nCols;
  target.pOwned =
      std::make_unique<double[]>(static_cast<size_t>(source.nRows) * static_cast<size_t>(source.nCols));
  target.pData = target.pOwned.get();
}

bool IsRefused(const BlockSource& source, int32_t row, int32_t col, const BlockPlaces& places,
               std::span<SubMatrix> target) {
  return !source.pData || target.empty() || row >= places.nBlockRowNum || col >= places.nBlockRowNum;
}

int AccumulateDense(const BlockSource& source, int32_t row, int32_t col, double sign,
                    const DenseTarget& target, RunLog& log) {
  if (!source.pData || !target.pData || source.nRows < 1 || source.nCols < 1 || target.nRows < 1 ||
      target.nCols < 1)
    return 0;
  if (source.nCols > target.nCols || source.nRows > target.nRows || col > target.nCols - source.nCols ||
      row > target.nRows - source.nRows) {
    return 0;
  }
  if (row < 0 || col < 0) {
    log.Print("Error!Sub matrix out of size!\n");
    return 0;
  }
  for (int32_t r = 0; r < source.nRows; ++r) {
    const double* from = source.pData + static_cast<ptrdiff_t>(r) * source.nCols;
    double* to = target.pData + static_cast<ptrdiff_t>(row + r) * target.nCols + col;
    for (int32_t c = 0; c < source.nCols; ++c) to[c] += sign * from[c];
  }
  return 1;
}

}  // namespace

int AddBlock(const BlockSource& source, int32_t row, int32_t col, const BlockPlaces& places,
             std::span<SubMatrix> target, RunLog& log) {
  if (IsRefused(source, row, col, places, target)) return -1;
  if (col < row) return 2;
  const int32_t id = FindBlockId(places.Rows, row, col);
  if (id < 0 || id >= places.nSubMatrixNum || static_cast<size_t>(id) >= target.size()) {
    log.Print("Sub matrix ID out of range:%d %d %d!\n", row, col, id);
    return 0;
  }
  SubMatrix& block = target[static_cast<size_t>(id)];
  if (!block.pData) CreateBlock(source, row, col, block);
  Accumulate(source, 1.0, block);
  return 1;
}

int SubtractBlock(const BlockSource& source, int32_t row, int32_t col, const BlockPlaces& places,
                  std::span<SubMatrix> target, RunLog& log) {
  if (IsRefused(source, row, col, places, target)) return -1;
  if (col < row) return 0;
  const int32_t id = FindBlockId(places.Rows, row, col);
  if (id < 0 || static_cast<size_t>(id) >= target.size()) {
    log.Print("Warning!Cannot find sub matrix ID\n");
    return 0;
  }
  SubMatrix& block = target[static_cast<size_t>(id)];
  if (!block.pData) CreateBlock(source, row, col, block);
  Accumulate(source, -1.0, block);
  return 1;
}

int AddDense(const BlockSource& source, int32_t row, int32_t col, const DenseTarget& target, RunLog& log) {
  return AccumulateDense(source, row, col, 1.0, target, log);
}

int SubtractDense(const BlockSource& source, int32_t row, int32_t col, const DenseTarget& target,
                  RunLog& log) {
  return AccumulateDense(source, row, col, -1.0, target, log);
}

}  // namespace orvo
