#include "normal/BlockStore.h"

#include <algorithm>

#include "base/Threads.h"

namespace orvo {

void AddStore(const BlockIndex& index, std::span<const uint8_t> rowFlags, const double* from, double* into,
              int threads) {
  // Each element has one sum of its own, so any division of the rows gives the same numbers.
  constexpr int32_t kRowsOfPiece = 64;
  const int64_t pieces = (index.Rows() + kRowsOfPiece - 1) / kRowsOfPiece;
  ParallelFor(pieces, threads, [&](int64_t piece) {
    const auto first = static_cast<int32_t>(piece * kRowsOfPiece);
    for (int32_t row = first; row < std::min(first + kRowsOfPiece, index.Rows()); ++row) {
      if (rowFlags[static_cast<size_t>(row)] == 0) continue;
      const int64_t begin = index.RowBegin(row), end = index.RowBegin(row + 1);
      for (int64_t k = begin; k < end; ++k) into[k] += from[k];
    }
  });
}

AttachFault AttachBlocks(const BlockIndex& index, std::span<const SubMatrixRow> rows, double* store,
                         std::vector<SubMatrix>& subMatrices, int32_t& faultyId) {
  for (int32_t row = 0; row < index.Rows(); ++row) {
    const std::span<const int32_t> columns = index.Columns(row);
    for (int32_t rank = 0; rank < static_cast<int32_t>(columns.size()); ++rank) {
      const int32_t id = rows[static_cast<size_t>(row)].nFirstId + rank;
      if (static_cast<size_t>(id) >= subMatrices.size()) return AttachFault::None;
      SubMatrix& block = subMatrices[static_cast<size_t>(id)];
      double* data = store + index.OffsetOfRank(row, rank);
      if (block.pData == data) continue;
      const int32_t column = columns[static_cast<size_t>(rank)];
      const int32_t height = index.BlockSize(row), width = index.BlockSize(column);
      const std::span<double> elements(data, static_cast<size_t>(height * width));
      if (std::ranges::all_of(elements, [](double element) { return element == 0; })) continue;
      if (!block.pData) {
        block.nRow = row;
        block.nCol = column;
        block.nRows = height;
        block.nCols = width;
        block.pData = data;
        continue;
      }
      faultyId = id;
      if (block.nRows != height || block.nCols != width) return AttachFault::Size;
      if (block.nRow != row || block.nCol != column) return AttachFault::Position;
      for (size_t k = 0; k < elements.size(); ++k) block.pData[k] += elements[k];
      std::ranges::fill(elements, 0.0);
    }
  }
  return AttachFault::None;
}

void AddStoreToDense(const BlockIndex& index, const UnknownLayout& layout, const double* store, double* dense,
                     int64_t n) {
  for (int32_t row = 0; row < index.Rows(); ++row) {
    const std::span<const int32_t> columns = index.Columns(row);
    const int64_t top = layout.Position(row), height = index.BlockSize(row);
    for (int32_t rank = 0; rank < static_cast<int32_t>(columns.size()); ++rank) {
      const int32_t column = columns[static_cast<size_t>(rank)];
      const double* block = store + index.OffsetOfRank(row, rank);
      const int64_t left = layout.Position(column), width = index.BlockSize(column);
      for (int64_t r = 0; r < height; ++r) {
        double* out = dense + (top + r) * n + left;
        for (int64_t c = 0; c < width; ++c) out[c] += block[r * width + c];
      }
      if (row == column) continue;
      for (int64_t c = 0; c < width; ++c) {
        double* out = dense + (left + c) * n + top;
        for (int64_t r = 0; r < height; ++r) out[r] += block[r * width + c];
      }
    }
  }
}

}  // namespace orvo
