#include "normal/BlockIndex.h"

#include <algorithm>
#include <bit>

namespace orvo {

BlockIndex::BlockIndex(std::span<const SubMatrixRow> rows, const UnknownLayout& layout, int64_t bitMapBytes)
    : layoutOfIndex(layout) {
  const auto rowNum = static_cast<size_t>(std::max(0, layout.PointRows()));
  const int32_t firstRows = layout.FirstRows();
  rowsOfIndex.resize(rowNum);
  const auto wordsPerRow = static_cast<int64_t>((rowNum + 63) / 64);
  int64_t wordNum = 0;
  for (size_t row = 0; row < rowNum; ++row) {
    BlockIndexView::Row& r = rowsOfIndex[row];
    r.nWord = wordNum - static_cast<int64_t>(row >> 6);
    wordNum += wordsPerRow - static_cast<int64_t>(row >> 6);

    r.nColumnStart = static_cast<int64_t>(columnsOfIndex.size());
    int32_t firstColumns = 0;
    if (row < rows.size()) {
      for (const int32_t column : rows[row].vColumns) {
        if (column < static_cast<int32_t>(row) || column >= static_cast<int32_t>(rowNum)) continue;
        columnsOfIndex.push_back(column);
        firstColumns += column < firstRows ? 1 : 0;
      }
    }
    r.nColumnNum = static_cast<int32_t>(static_cast<int64_t>(columnsOfIndex.size()) - r.nColumnStart);
    const int32_t size = BlockSize(static_cast<int32_t>(row));
    r.nFirstStride = PaddedBlockSize(size * layout.FirstSize());
    r.nSecondStride = PaddedBlockSize(size * kIopSize);
    r.nFirstBase = nStoreSize;
    r.nSecondBase = nStoreSize + int64_t{firstColumns} * (r.nFirstStride - r.nSecondStride);
    nStoreSize = r.nSecondBase + int64_t{r.nColumnNum} * r.nSecondStride;
  }
  if (wordNum * static_cast<int64_t>(sizeof(BlockIndexView::Word)) <= bitMapBytes) {
    words.assign(static_cast<size_t>(wordNum), {0, 0});
    for (int32_t row = 0; row < Rows(); ++row) {
      BlockIndexView::Word* ofRow = words.data() + rowsOfIndex[static_cast<size_t>(row)].nWord;
      for (const int32_t column : Columns(row)) ofRow[column >> 6].nColumns |= uint64_t{1} << (column & 63);
      int64_t rank = 0;
      for (int64_t w = row >> 6; w < wordsPerRow; ++w) {
        ofRow[w].nRank = rank;
        rank += std::popcount(ofRow[w].nColumns);
      }
    }
  }
  view.pWords = words.empty() ? nullptr : words.data();
  view.pRows = rowsOfIndex.data();
  view.pColumns = columnsOfIndex.data();
  view.nFirstRows = firstRows;
}

std::span<const int32_t> BlockIndex::Columns(int32_t row) const {
  const BlockIndexView::Row& r = rowsOfIndex[static_cast<size_t>(row)];
  return {columnsOfIndex.data() + r.nColumnStart, static_cast<size_t>(r.nColumnNum)};
}

int64_t BlockIndex::OffsetOfRank(int32_t row, int32_t rank) const {
  const BlockIndexView::Row& r = rowsOfIndex[static_cast<size_t>(row)];
  const int32_t column = Columns(row)[static_cast<size_t>(rank)];
  return column < view.nFirstRows ? r.nFirstBase + int64_t{rank} * r.nFirstStride
                                  : r.nSecondBase + int64_t{rank} * r.nSecondStride;
}

}  // namespace orvo
