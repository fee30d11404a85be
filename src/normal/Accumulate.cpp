// Adding single blocks to the reduced normal matrix, in either form.
#include <algorithm>

#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

/// target += sign * source, from the target's top-left corner on; what would leave the target is dropped.
void AccumulateBlock(const double* source, int32_t rows, int32_t cols, double sign, SubMatrix& target) {
  for (int32_t r = 0; r < std::min(rows, target.nRows); ++r) {
    const double* from = source + static_cast<ptrdiff_t>(r) * cols;
    double* to = target.pData + static_cast<ptrdiff_t>(r) * target.nCols;
    for (int32_t c = 0; c < std::min(cols, target.nCols); ++c) to[c] += sign * from[c];
  }
}

void CreateBlock(int32_t rows, int32_t cols, int32_t row, int32_t col, SubMatrix& target) {
  target.nRow = row;
  target.nCol = col;
  target.nRows = rows;
  target.nCols = cols;
  target.pOwned = std::make_unique<double[]>(static_cast<size_t>(rows) * static_cast<size_t>(cols));
  target.pData = target.pOwned.get();
}

enum class DenseOutcome { Done, Refused, OutOfSize };

DenseOutcome AccumulateDense(const double* source, int32_t rows, int32_t cols, int32_t rowStart,
                             int32_t colStart, double sign, double* target, int32_t targetRows,
                             int32_t targetCols) {
  if (!source || !target || rows < 1 || cols < 1 || targetRows < 1 || targetCols < 1)
    return DenseOutcome::Refused;
  if (cols > targetCols || rows > targetRows || colStart > targetCols - cols ||
      rowStart > targetRows - rows) {
    return DenseOutcome::Refused;
  }
  if (rowStart < 0 || colStart < 0) return DenseOutcome::OutOfSize;
  for (int32_t r = 0; r < rows; ++r) {
    const double* from = source + static_cast<ptrdiff_t>(r) * cols;
    double* to = target + static_cast<ptrdiff_t>(rowStart + r) * targetCols + colStart;
    for (int32_t c = 0; c < cols; ++c) to[c] += sign * from[c];
  }
  return DenseOutcome::Done;
}

}  // namespace

int CBundleAdjustment::AddToSubMatrix(const double* source, int32_t rows, int32_t cols, int32_t row,
                                      int32_t col, std::vector<SubMatrix>& target) {
  if (!source || target.empty() || row >= Unknowns.nBlockRowNum || col >= Unknowns.nBlockRowNum) return -1;
  if (col < row) return 2;
  const int32_t id = GetSubMatrixId(row, col);
  if (id < 0 || id >= Normal.nSubMatrixNum || static_cast<size_t>(id) >= target.size()) {
    LogPrintf("Sub matrix ID out of range:%d %d %d!\n", row, col, id);
    return 0;
  }
  SubMatrix& block = target[static_cast<size_t>(id)];
  if (!block.pData) CreateBlock(rows, cols, row, col, block);
  AccumulateBlock(source, rows, cols, 1.0, block);
  return 1;
}

int CBundleAdjustment::SubtractFromSubMatrix(const double* source, int32_t rows, int32_t cols, int32_t row,
                                             int32_t col, std::vector<SubMatrix>& target) {
  if (!source || target.empty() || row >= Unknowns.nBlockRowNum || col >= Unknowns.nBlockRowNum) return -1;
  if (col < row) return 0;
  const int32_t id = GetSubMatrixId(row, col);
  if (id < 0 || static_cast<size_t>(id) >= target.size()) {
    LogPrintf("Warning!Cannot find sub matrix ID\n");
    return 0;
  }
  SubMatrix& block = target[static_cast<size_t>(id)];
  if (!block.pData) CreateBlock(rows, cols, row, col, block);
  AccumulateBlock(source, rows, cols, -1.0, block);
  return 1;
}

int CBundleAdjustment::AddToDenseMatrix(const double* source, int32_t rows, int32_t cols, int32_t rowStart,
                                        int32_t colStart, double* target, int32_t targetRows,
                                        int32_t targetCols) {
  const DenseOutcome outcome =
      AccumulateDense(source, rows, cols, rowStart, colStart, 1.0, target, targetRows, targetCols);
  if (outcome == DenseOutcome::OutOfSize) LogPrintf("Error!Sub matrix out of size!\n");
  return outcome == DenseOutcome::Done ? 1 : 0;
}

int CBundleAdjustment::SubtractFromDenseMatrix(const double* source, int32_t rows, int32_t cols,
                                               int32_t rowStart, int32_t colStart, double* target,
                                               int32_t targetRows, int32_t targetCols) {
  const DenseOutcome outcome =
      AccumulateDense(source, rows, cols, rowStart, colStart, -1.0, target, targetRows, targetCols);
  if (outcome == DenseOutcome::OutOfSize) LogPrintf("Error!Sub matrix out of size!\n");
  return outcome == DenseOutcome::Done ? 1 : 0;
}

}  // namespace orvo
