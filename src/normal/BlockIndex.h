// From block row and column to the place of a block in one flat store.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "normal/SubMatrix.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// Doubles that a block of `size` elements takes in the store: whole cache lines, so that a block in an
/// aligned store touches as few of them as it can and no vector of it lies across two.
[[gnu::always_inline]] constexpr int32_t PaddedBlockSize(int32_t size) { return (size + 7) / 8 * 8; }

/// What the assembly reads of a BlockIndex: plain arrays.
///
/// The flat store holds the blocks of the pattern in the order of their IDs, each row-major and padded to
/// PaddedBlockSize, those of POS groups left out. In row r the columns below nFirstRows have blocks of one
/// size, the cameras behind them of another, so a block's offset follows from its rank in the row. The rank
/// is found in a bit map of the row, 64 columns a word, or by search where the bit maps would grow too large.
struct BlockIndexView {
  struct Word {
    uint64_t nColumns;  ///< bit k: column 64 w + k is in the row
    int64_t nRank;      ///< columns of the row before this word
  };
  struct Row {
    int64_t nWord;        ///< index of the word of column 0; the words left of the diagonal do not exist
    int64_t nFirstBase;   ///< offset is this + rank * nFirstStride for a column below nFirstRows,
    int64_t nSecondBase;  ///< and this + rank * nSecondStride for one of the camera rows behind
    int32_t nFirstStride, nSecondStride;
    int64_t nColumnStart;  ///< the row's sorted columns in pColumns
    int32_t nColumnNum;
  };
  const Word* pWords = nullptr;  ///< null where the search is used
  const Row* pRows = nullptr;
  const int32_t* pColumns = nullptr;
  int32_t nFirstRows = 0;
};

class BlockIndex {
 public:
  /// Without bit maps where these would take more than `bitMapBytes`.
  BlockIndex(std::span<const SubMatrixRow> rows, const UnknownLayout& layout,
             int64_t bitMapBytes = 256 << 20);

  const BlockIndexView& View() const { return view; }
  /// Number of doubles in the store.
  int64_t StoreSize() const { return nStoreSize; }
  int32_t Rows() const { return static_cast<int32_t>(rowsOfIndex.size()); }
  /// Where the blocks of a row begin in the store; of the row behind the last, where the store ends.
  int64_t RowBegin(int32_t row) const {
    return row < Rows() ? rowsOfIndex[static_cast<size_t>(row)].nFirstBase : nStoreSize;
  }
  std::span<const int32_t> Columns(int32_t row) const;
  /// Offset of the k-th block of a row.
  int64_t OffsetOfRank(int32_t row, int32_t rank) const;
  /// Size of the blocks of a row or column.
  int32_t BlockSize(int32_t row) const { return layoutOfIndex.BlockSize(row); }

 private:
  UnknownLayout layoutOfIndex;
  std::vector<BlockIndexView::Word> words;
  std::vector<BlockIndexView::Row> rowsOfIndex;
  std::vector<int32_t> columnsOfIndex;
  int64_t nStoreSize = 0;
  BlockIndexView view;
};

/// Offset of block (row, column), or -1 where the pattern does not have it. 0 <= row <= column, both rows of
/// images or cameras.
[[gnu::always_inline]] inline int64_t OffsetOfBlock(const BlockIndexView& index, int32_t row,
                                                    int32_t column) {
  const BlockIndexView::Row& r = index.pRows[row];
  int64_t rank = 0;
  if (index.pWords) {
    const BlockIndexView::Word& word = index.pWords[r.nWord + (column >> 6)];
    const uint64_t bit = uint64_t{1} << (column & 63);
    if ((word.nColumns & bit) == 0) return -1;
    rank = word.nRank + __builtin_popcountll(word.nColumns & (bit - 1));
  } else {
    const int32_t* columns = index.pColumns + r.nColumnStart;
    int64_t low = 0, high = r.nColumnNum;
    while (low < high) {
      const int64_t middle = (low + high) / 2;
      if (columns[middle] < column) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    if (low >= r.nColumnNum || columns[low] != column) return -1;
    rank = low;
  }
  return column < index.nFirstRows ? r.nFirstBase + rank * r.nFirstStride
                                   : r.nSecondBase + rank * r.nSecondStride;
}

/// The same for several columns of one row, all below nFirstRows; also -1 where the bit maps are missing.
struct FirstBlocksOfRow {
  const BlockIndexView::Word* pWords;
  int64_t nBase, nStride;

  [[gnu::always_inline]] FirstBlocksOfRow(const BlockIndexView& index, int32_t row)
      : pWords(index.pWords ? index.pWords + index.pRows[row].nWord : nullptr),
        nBase(index.pRows[row].nFirstBase),
        nStride(index.pRows[row].nFirstStride) {}
  [[gnu::always_inline]] int64_t Offset(int32_t column) const {
    if (!pWords) return -1;
    const BlockIndexView::Word& word = pWords[column >> 6];
    const uint64_t shifted = word.nColumns << (63 - (column & 63));
    // The column's own bit is the highest now.
    if (static_cast<int64_t>(shifted) >= 0) return -1;
    return nBase + (word.nRank + __builtin_popcountll(shifted) - 1) * nStride;
  }
};

}  // namespace orvo
