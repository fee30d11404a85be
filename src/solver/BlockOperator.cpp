#include "solver/BlockOperator.h"

#include <algorithm>

#include "run/Platform.h"
#include "solver/BlockInverse.h"

namespace orvo {
namespace {

// A band is worth a task of its own from some 256 KB of blocks on. More bands than this only lengthen the
// sums of the mirrors.
constexpr int64_t kBandValueNum = 32768;
constexpr int32_t kMaxBandNum = 16;
constexpr int32_t kPanelUnknownNum = 2048;

bool HasData(const SubMatrix& block) { return block.pData != nullptr; }

int64_t ValueNum(const SubMatrix& block) { return static_cast<int64_t>(block.nRows) * block.nCols; }

/// The width of a block row in the vector of unknowns.
int32_t RowWidth(std::span<const int32_t> rowPosition, int32_t order, int32_t row) {
  const auto next = static_cast<size_t>(row) + 1;
  return (next < rowPosition.size() ? rowPosition[next] : order) - rowPosition[static_cast<size_t>(row)];
}

/// Nothing of the block may fall outside its place, or rows would no longer have one owner.
bool FitsPattern(const SubMatrix& block, std::span<const int32_t> rowPosition, int32_t order) {
  const auto rowNum = static_cast<int32_t>(rowPosition.size());
  if (!HasData(block) || block.nRow < 0 || block.nCol < block.nRow || block.nCol >= rowNum) return false;
  return block.nRows > 0 && block.nCols > 0 && block.nRows <= RowWidth(rowPosition, order, block.nRow) &&
         block.nCols <= RowWidth(rowPosition, order, block.nCol);
}

/// True when the block rows divide 0 to order into runs without gap or overlap.
bool PositionsAscend(std::span<const int32_t> rowPosition, int32_t order) {
  if (rowPosition.empty() || rowPosition.front() != 0 || rowPosition.back() > order) return false;
  return std::is_sorted(rowPosition.begin(), rowPosition.end());
}

}  // namespace

/// The blocks that take part, by block row; within a row as they came.
struct BlockOperator::RowOrder {
  std::vector<int32_t> vFirst;  ///< of each row in vBlocks, and the end
  std::vector<int32_t> vBlocks;

  RowOrder(std::span<const SubMatrix> blocks, std::span<const int32_t> rowPosition, int32_t order)
      : vFirst(1, 0) {
    if (!PositionsAscend(rowPosition, order)) return;
    vFirst.resize(rowPosition.size() + 1, 0);
    for (const SubMatrix& block : blocks) {
      if (FitsPattern(block, rowPosition, order)) ++vFirst[static_cast<size_t>(block.nRow) + 1];
    }
    for (size_t row = 1; row < vFirst.size(); ++row) vFirst[row] += vFirst[row - 1];
    vBlocks.resize(static_cast<size_t>(vFirst.back()));
    std::vector<int32_t> next(vFirst.begin(), vFirst.end() - 1);
    for (size_t id = 0; id < blocks.size(); ++id) {
      if (!FitsPattern(blocks[id], rowPosition, order)) continue;
      vBlocks[static_cast<size_t>(next[static_cast<size_t>(blocks[id].nRow)]++)] = static_cast<int32_t>(id);
    }
  }
  int32_t RowNum() const { return static_cast<int32_t>(vFirst.size()) - 1; }
  std::span<const int32_t> Row(int32_t row) const {
    const auto first = static_cast<size_t>(vFirst[static_cast<size_t>(row)]);
    return std::span(vBlocks).subspan(first,
                                      static_cast<size_t>(vFirst[static_cast<size_t>(row) + 1]) - first);
  }
};

BlockOperator::BlockOperator(std::span<const SubMatrix> blocks, std::span<const int32_t> rowPosition,
                             int32_t order, WorkerPool& pool, KernelForm form)
    : nOrder(std::max(order, 0)) {
  const RowOrder rows(blocks, rowPosition, nOrder);
  MakeStrips(blocks, rowPosition, rows, form);
  MakeBands(rowPosition, rows);
  MakePanels();
  pValues = std::make_unique_for_overwrite<double[]>(static_cast<size_t>(nValueNum));
  PreferLargePages(pValues.get(), static_cast<size_t>(nValueNum) * sizeof(double));
  pool.Run(static_cast<int32_t>(vBands.size()),
           [&](int32_t band) { CopyBand(blocks, vBands[static_cast<size_t>(band)]); });
}

void BlockOperator::MakeStrips(std::span<const SubMatrix> blocks, std::span<const int32_t> rowPosition,
                               const RowOrder& rows, KernelForm form) {
  vColumns.reserve(rows.vBlocks.size());
  vSource.reserve(rows.vBlocks.size());
  std::vector<int32_t> diagonalSource;
  int64_t diagonalValueNum = 0;
  for (int32_t row = 0; row < rows.RowNum(); ++row) {
    const int32_t position = rowPosition[static_cast<size_t>(row)];
    bool newRow = true, hasDiagonal = false;
    for (const int32_t id : rows.Row(row)) {
      const SubMatrix& block = blocks[static_cast<size_t>(id)];
      if (block.nCol == row) {
        if (hasDiagonal) continue;
        hasDiagonal = true;
        vDiagonals.push_back({position, block.nRows, block.nCols, diagonalValueNum});
        diagonalSource.push_back(id);
        diagonalValueNum += ValueNum(block);
        continue;
      }
      const bool joins =
          !newRow && vStrips.back().Strip.nRows == block.nRows && vStrips.back().Strip.nCols == block.nCols;
      if (!joins) {
        const BlockStrip strip{position, block.nRows, block.nCols, static_cast<int32_t>(vColumns.size()),
                               0,        nValueNum};
        vStrips.push_back({strip, FindStripKernel(form, block.nRows, block.nCols), 0});
        newRow = false;
      }
      ++vStrips.back().Strip.nBlockNum;
      vColumns.push_back(rowPosition[static_cast<size_t>(block.nCol)]);
      vSource.push_back(id);
      nValueNum += ValueNum(block);
    }
  }
  vDiagonalValues.resize(static_cast<size_t>(diagonalValueNum));
  for (size_t i = 0; i < vDiagonals.size(); ++i) {
    const SubMatrix& block = blocks[static_cast<size_t>(diagonalSource[i])];
    std::copy_n(block.pData, ValueNum(block), vDiagonalValues.data() + vDiagonals[i].nOffset);
  }
}

void BlockOperator::MakeBands(std::span<const int32_t> rowPosition, const RowOrder& rows) {
  const int64_t total = nValueNum + static_cast<int64_t>(vDiagonalValues.size());
  const int64_t bandNum = std::clamp<int64_t>(total / kBandValueNum, 1, kMaxBandNum);
  size_t strip = 0, diagonal = 0;
  int64_t values = 0;
  Band band;
  const auto close = [&](int32_t end) {
    band.Unknowns.nEnd = end;
    band.nStripEnd = static_cast<int32_t>(strip);
    band.nDiagonalEnd = static_cast<int32_t>(diagonal);
    MakeMirrors(band);
    vBands.push_back(std::move(band));
    band = Band{};
    band.Unknowns.nFirst = end;
    band.nFirstStrip = static_cast<int32_t>(strip);
    band.nFirstDiagonal = static_cast<int32_t>(diagonal);
  };
  for (int32_t row = 0; row + 1 < rows.RowNum(); ++row) {
    const int32_t end = rowPosition[static_cast<size_t>(row) + 1];
    for (; strip < vStrips.size() && vStrips[strip].Strip.nRow < end; ++strip) {
      const BlockStrip& s = vStrips[strip].Strip;
      values += int64_t{s.nBlockNum} * s.nRows * s.nCols;
    }
    for (; diagonal < vDiagonals.size() && vDiagonals[diagonal].nPosition < end; ++diagonal) {
      values += int64_t{vDiagonals[diagonal].nRows} * vDiagonals[diagonal].nCols;
    }
    if (values * bandNum > total * static_cast<int64_t>(vBands.size() + 1)) close(end);
  }
  strip = vStrips.size();
  diagonal = vDiagonals.size();
  close(nOrder);
}

void BlockOperator::MakeMirrors(Band& band) {
  for (int32_t i = band.nFirstStrip; i < band.nStripEnd; ++i) {
    StripOfBand& entry = vStrips[static_cast<size_t>(i)];
    const BlockStrip& strip = entry.Strip;
    auto mirror = std::find_if(band.vMirrors.begin(), band.vMirrors.end(),
                               [&](const Mirror& m) { return m.nCols == strip.nCols; });
    if (mirror == band.vMirrors.end()) {
      band.vMirrors.push_back({strip.nCols, {nOrder, 0}, nullptr});
      mirror = band.vMirrors.end() - 1;
    }
    entry.nMirror = static_cast<int32_t>(mirror - band.vMirrors.begin());
    for (int32_t block = 0; block < strip.nBlockNum; ++block) {
      const int32_t column = vColumns[static_cast<size_t>(strip.nFirstBlock + block)];
      mirror->Target.nFirst = std::min(mirror->Target.nFirst, column);
      mirror->Target.nEnd = std::max(mirror->Target.nEnd, column + strip.nCols);
    }
  }
  for (Mirror& mirror : band.vMirrors) {
    mirror.pSums = std::make_unique_for_overwrite<double[]>(static_cast<size_t>(mirror.Target.Count()));
  }
}

void BlockOperator::MakePanels() {
  size_t diagonal = 0;
  for (int32_t first = 0; first < nOrder;) {
    PanelRange panel;
    panel.Unknowns.nFirst = first;
    panel.nFirstDiagonal = static_cast<int32_t>(diagonal);
    int32_t end = std::min(nOrder - first, kPanelUnknownNum) + first;
    for (; diagonal < vDiagonals.size() && vDiagonals[diagonal].nPosition < end; ++diagonal) {
      end = std::max(end, vDiagonals[diagonal].nPosition + vDiagonals[diagonal].nRows);
    }
    panel.Unknowns.nEnd = end;
    panel.nDiagonalEnd = static_cast<int32_t>(diagonal);
    vPanels.push_back(panel);
    first = end;
  }
}

void BlockOperator::CopyBand(std::span<const SubMatrix> blocks, const Band& band) {
  for (int32_t i = band.nFirstStrip; i < band.nStripEnd; ++i) {
    const BlockStrip& strip = vStrips[static_cast<size_t>(i)].Strip;
    double* target = pValues.get() + strip.nOffset;
    for (int32_t block = 0; block < strip.nBlockNum; ++block) {
      const SubMatrix& source =
          blocks[static_cast<size_t>(vSource[static_cast<size_t>(strip.nFirstBlock + block)])];
      target = std::copy_n(source.pData, ValueNum(source), target);
    }
  }
}

void BlockOperator::MultiplyBand(int32_t index, const double* v, double* out) {
  Band& band = vBands[static_cast<size_t>(index)];
  std::fill(out + band.Unknowns.nFirst, out + band.Unknowns.nEnd, 0.0);
  for (Mirror& mirror : band.vMirrors) std::fill_n(mirror.pSums.get(), mirror.Target.Count(), 0.0);
  for (int32_t i = band.nFirstDiagonal; i < band.nDiagonalEnd; ++i) {
    const DiagonalBlock& block = vDiagonals[static_cast<size_t>(i)];
    AddMatrixTimesVector(vDiagonalValues.data() + block.nOffset, block.nRows, block.nCols,
                         v + block.nPosition, out + block.nPosition);
  }
  for (int32_t i = band.nFirstStrip; i < band.nStripEnd; ++i) {
    const StripOfBand& entry = vStrips[static_cast<size_t>(i)];
    const BlockStrip& strip = entry.Strip;
    Mirror& mirror = band.vMirrors[static_cast<size_t>(entry.nMirror)];
    entry.fKernel(strip, pValues.get() + strip.nOffset, vColumns.data() + strip.nFirstBlock, v,
                  v + strip.nRow, out + strip.nRow, mirror.pSums.get(), mirror.Target.nFirst);
  }
}

void BlockOperator::AddMirrors(int32_t panel, double* out) const {
  const UnknownRange& unknowns = Panel(panel);
  for (const Band& band : vBands) {
    for (const Mirror& mirror : band.vMirrors) {
      const int32_t first = std::max(unknowns.nFirst, mirror.Target.nFirst);
      const int32_t end = std::min(unknowns.nEnd, mirror.Target.nEnd);
      const double* sums = mirror.pSums.get();
      for (int32_t i = first; i < end; ++i) out[i] += sums[i - mirror.Target.nFirst];
    }
  }
}

std::span<const DiagonalBlock> BlockOperator::Diagonals(int32_t panel) const {
  const PanelRange& range = vPanels[static_cast<size_t>(panel)];
  return std::span(vDiagonals)
      .subspan(static_cast<size_t>(range.nFirstDiagonal),
               static_cast<size_t>(range.nDiagonalEnd - range.nFirstDiagonal));
}

BlockPreconditioner::BlockPreconditioner(const BlockOperator& matrix, WorkerPool& pool)
    : Matrix(matrix),
      vInverses(matrix.DiagonalValues(), matrix.DiagonalValues() + matrix.DiagonalValueNum()) {
  pool.Run(matrix.PanelNum(), [&](int32_t panel) {
    for (const DiagonalBlock& block : matrix.Diagonals(panel)) {
      double* inverse = vInverses.data() + block.nOffset;
      const int64_t valueNum = int64_t{block.nRows} * block.nCols;
      if (block.nRows != block.nCols) continue;
      // What a refused inversion leaves behind is neither the block nor its inverse; nothing is better.
      if (InvertBlockInPlace(inverse, block.nRows) != 1) std::fill_n(inverse, valueNum, 0.0);
    }
  });
  for (const DiagonalBlock& block : matrix.Diagonals()) {
    bValid = bValid && block.nRows == block.nCols;
    if (!bValid) std::fill_n(vInverses.data() + block.nOffset, int64_t{block.nRows} * block.nCols, 0.0);
  }
}

void BlockPreconditioner::Apply(int32_t panel, const double* r, double* z) const {
  const UnknownRange& unknowns = Matrix.Panel(panel);
  std::fill(z + unknowns.nFirst, z + unknowns.nEnd, 0.0);
  for (const DiagonalBlock& block : Matrix.Diagonals(panel)) {
    AddMatrixTimesVector(vInverses.data() + block.nOffset, block.nRows, block.nCols, r + block.nPosition,
                         z + block.nPosition);
  }
}

}  // namespace orvo
