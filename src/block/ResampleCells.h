// The grids of all images, with the best point of each cell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvo {

/// N x N cells for each image, row by row.
class ResampleCells {
 public:
  static constexpr int64_t kBytesPerCell = sizeof(int32_t) + sizeof(float);

  ResampleCells(int32_t cellsPerSide, int32_t imageNum)
      : nPerSide(cellsPerSide),
        vNumbers(static_cast<size_t>(int64_t{cellsPerSide} * cellsPerSide * imageNum), 0),
        vScores(vNumbers.size(), 1.0e30f) {}

  int64_t CellNum() const { return static_cast<int64_t>(vNumbers.size()); }
  /// Of a row or column outside the grid this is a cell of another image, or none.
  int64_t Index(int32_t image, int32_t row, int32_t column) const {
    return (int64_t{nPerSide} * image + row) * nPerSide + column;
  }
  /// Gives the cell to object point `number`, counted from 1, if its score is below that of the point that
  /// holds it: of equal ones the first stays, and a not-a-number never wins.
  void Offer(int64_t cell, float score, int32_t number) {
    const auto i = static_cast<size_t>(cell);
    if (!(vScores[i] > score)) return;
    vScores[i] = score;
    vNumbers[i] = number;
  }
  /// The object point that holds a cell, 0 for none.
  int32_t Number(int64_t cell) const { return vNumbers[static_cast<size_t>(cell)]; }

 private:
  int32_t nPerSide;
  std::vector<int32_t> vNumbers;
  std::vector<float> vScores;
};

}  // namespace orvo
