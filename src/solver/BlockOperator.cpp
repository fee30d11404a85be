#include "solver/BlockOperator.h"

#include <algorithm>

#include "solver/BlockInverse.h"

namespace orvo {
namespace {

// A band is worth a task of its own from some 256 KB of blocks on. More bands than this only lengthen the
// sums of the mirrors.
constexpr int64_t kBandValueNum = 32768;
constexpr int32_t kMaxBandNum = 16;
constexpr int32_t kPanelUnknownNum = 2048;

bool HasData(const SubMatrix& block) { return block.pData != nullptr; }

/// In doubles, from one place to any other.
int64_t Distance(const double* from, const double* to) {
  const auto bytes = reinterpret_cast<intptr_t>(to) - reinterpret_cast<intptr_t>(from);
  return bytes / static_cast<intptr_t>(sizeof(double));
}

int64_t ValueNum(const SubMatrix& block) { return static_cast<int64_t>(block.nRows) * block.nCols; }

/// The width of a block row in the vector of unknowns.
int32_t RowWidth(std::span<const int32_t> rowPosition, int32_t order, int32_t row) {
  const auto next = static_cast<size_t>(row) + 1;
  return (next < rowPosition.size() ? rowPosition[next] : order) - rowPosition[static_cast<size_t>(row)];
}

void StoreByColumns(const double* rows, int32_t rowNum, int32_t colNum, double* columns) {
  for (int32_t r = 0; r < rowNum; ++r) {
    for (int32_t c = 0; c < colNum; ++c) columns[c * rowNum + r] = rows[r * colNum + c];
  }
}

/// out += the diagonal blocks, given column by column in `values`, times v.
void AddDiagonalProducts(std::span<const DiagonalBlock> blocks, const double* values, InstructionSet set,
                         const double* v, double* out) {
  for (size_t i = 0, end = 0; i < blocks.size(); i = end) {
    const DiagonalBlock& first = blocks[i];
    // Equal blocks that follow each other without gap.
    end = i + 1;
    while (end < blocks.size() && blocks[end].nRows == first.nRows && blocks[end].nCols == first.nCols &&
           blocks[end].nPosition == blocks[end - 1].nPosition + first.nRows) {
      ++end;
    }
    const DiagonalKernel kernel = first.nRows == first.nCols ? FindDiagonalKernel(set, first.nRows) : nullptr;
    if (kernel) {
      kernel(values + first.nOffset, static_cast<int32_t>(end - i), v + first.nPosition,
             out + first.nPosition);
      continue;
    }
    for (size_t k = i; k < end; ++k) {
      AddMatrixTimesVector(values + blocks[k].nOffset, blocks[k].nRows, blocks[k].nCols,
                           v + blocks[k].nPosition, out + blocks[k].nPosition);
    }
  }
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
                             int32_t order, InstructionSet set)
    : nOrder(std::max(order, 0)), nSet(set) {
  const RowOrder rows(blocks, rowPosition, nOrder);
  MakeStrips(blocks, rowPosition, rows);
  MakeBands(rowPosition, rows);
  MakePanels();
}

void BlockOperator::MakeStrips(std::span<const SubMatrix> blocks, std::span<const int32_t> rowPosition,
                               const RowOrder& rows) {
  vColumns.reserve(rows.vBlocks.size());
  vDiagonals.reserve(rowPosition.size());
  std::vector<const double*> places;
  places.reserve(rows.vBlocks.size());
  for (int32_t row = 0; row < rows.RowNum(); ++row) {
    const int32_t position = rowPosition[static_cast<size_t>(row)];
    bool newRow = true, hasDiagonal = false;
    for (const int32_t id : rows.Row(row)) {
      const SubMatrix& block = blocks[static_cast<size_t>(id)];
      if (block.nCol == row) {
        if (!hasDiagonal) TakeDiagonal(block, position);
        hasDiagonal = true;
        continue;
      }
      // By size alone, not by place: sums must not depend on where memory was free.
      if (newRow || vStrips.back().Strip.nRows != block.nRows || vStrips.back().Strip.nCols != block.nCols) {
        StripOfBand added;
        added.Strip.nRow = position;
        added.Strip.nRows = block.nRows;
        added.Strip.nCols = block.nCols;
        added.Strip.nFirstBlock = static_cast<int32_t>(vColumns.size());
        for (int32_t h = 0; h < 2; ++h) {
          added.fKernels[h] = FindStripKernel(nSet, block.nRows, block.nCols, h + 1);
        }
        vStrips.push_back(added);
        newRow = false;
      }
      ++vStrips.back().Strip.nBlockNum;
      vColumns.push_back(rowPosition[static_cast<size_t>(block.nCol)]);
      places.push_back(block.pData);
      nValueNum += ValueNum(block);
    }
  }
  MakeSpacing(places);
}

void BlockOperator::MakeSpacing(std::span<const double* const> places) {
  const auto placesOf = [&](const BlockStrip& strip) {
    return places.subspan(static_cast<size_t>(strip.nFirstBlock), static_cast<size_t>(strip.nBlockNum));
  };
  const auto isEven = [](std::span<const double* const> of) {
    for (size_t k = 2; k < of.size(); ++k) {
      if (Distance(of[k - 1], of[k]) != Distance(of[0], of[1])) return false;
    }
    return true;
  };
  size_t scattered = 0;
  for (const StripOfBand& entry : vStrips) {
    if (!isEven(placesOf(entry.Strip))) scattered += static_cast<size_t>(entry.Strip.nBlockNum);
  }
  vScattered.reserve(scattered);
  for (StripOfBand& entry : vStrips) {
    BlockStrip& strip = entry.Strip;
    const std::span<const double* const> of = placesOf(strip);
    strip.pValues = of[0];
    if (isEven(of)) {
      strip.nStride = of.size() > 1 ? Distance(of[0], of[1]) : 0;
    } else {
      strip.pScattered = vScattered.data() + vScattered.size();
      vScattered.insert(vScattered.end(), of.begin(), of.end());
    }
  }
}

void BlockOperator::TakeDiagonal(const SubMatrix& block, int32_t position) {
  const size_t offset = vDiagonalValues.size();
  vDiagonals.push_back({position, block.nRows, block.nCols, static_cast<int64_t>(offset), block.pData});
  vDiagonalValues.resize(offset + static_cast<size_t>(ValueNum(block)));
  StoreByColumns(block.pData, block.nRows, block.nCols, vDiagonalValues.data() + offset);
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
      const int32_t column = vColumns[static_cast<size_t>(int64_t{strip.nFirstBlock} + block)];
      mirror->Target.nFirst = std::min(mirror->Target.nFirst, column);
      mirror->Target.nEnd = std::max(mirror->Target.nEnd, column + strip.nCols);
    }
  }
  for (Mirror& mirror : band.vMirrors) {
    mirror.pSums = std::make_unique_for_overwrite<double[]>(2 * static_cast<size_t>(mirror.Target.Count()));
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

void BlockOperator::MultiplyBand(int32_t index, std::span<const Product> products) {
  Band& band = vBands[static_cast<size_t>(index)];
  const std::span<const DiagonalBlock> diagonals =
      std::span(vDiagonals)
          .subspan(static_cast<size_t>(band.nFirstDiagonal),
                   static_cast<size_t>(band.nDiagonalEnd - band.nFirstDiagonal));
  StripVectors vectors[2];
  for (size_t h = 0; h < products.size(); ++h) {
    const Product& product = products[h];
    vectors[h] = {product.v, product.out, nullptr};
    std::fill(product.out + band.Unknowns.nFirst, product.out + band.Unknowns.nEnd, 0.0);
    AddDiagonalProducts(diagonals, vDiagonalValues.data(), nSet, product.v, product.out);
    for (Mirror& mirror : band.vMirrors) {
      const int32_t count = mirror.Target.Count();
      std::fill_n(mirror.pSums.get() + h * static_cast<size_t>(count), count, 0.0);
    }
  }
  for (int32_t i = band.nFirstStrip; i < band.nStripEnd; ++i) {
    const StripOfBand& entry = vStrips[static_cast<size_t>(i)];
    Mirror& mirror = band.vMirrors[static_cast<size_t>(entry.nMirror)];
    for (size_t h = 0; h < products.size(); ++h) {
      vectors[h].mirror = mirror.pSums.get() + h * static_cast<size_t>(mirror.Target.Count());
    }
    entry.fKernels[products.size() - 1](entry.Strip, vColumns.data() + entry.Strip.nFirstBlock, vectors,
                                        mirror.Target.nFirst);
  }
}

void BlockOperator::AddMirrors(int32_t panel, size_t product, double* out) const {
  const UnknownRange& unknowns = Panel(panel);
  for (const Band& band : vBands) {
    for (const Mirror& mirror : band.vMirrors) {
      const int32_t first = std::max(unknowns.nFirst, mirror.Target.nFirst);
      const int32_t end = std::min(unknowns.nEnd, mirror.Target.nEnd);
      const double* sums = mirror.pSums.get() + product * static_cast<size_t>(mirror.Target.Count());
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
    : Matrix(matrix), vInverses(matrix.DiagonalValueNum()) {
  pool.Run(matrix.PanelNum(), [&](int32_t panel) {
    std::vector<double> inverse;
    for (const DiagonalBlock& block : matrix.Diagonals(panel)) {
      if (block.nRows != block.nCols) continue;
      inverse.assign(block.pValues, block.pValues + int64_t{block.nRows} * block.nCols);
      // Deliberate: of a singular block the partly overwritten copy stands, which still holds the inverse for
      // the pivots that were found.
      InvertBlockInPlace(inverse.data(), block.nRows);
      StoreByColumns(inverse.data(), block.nRows, block.nCols, vInverses.data() + block.nOffset);
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
  AddDiagonalProducts(Matrix.Diagonals(panel), vInverses.data(), Matrix.Set(), r, z);
}

}  // namespace orvo
