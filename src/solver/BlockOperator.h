// The reduced normal matrix in the form that products stream, and its block-Jacobi preconditioner.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "normal/SubMatrix.h"
#include "solver/BlockKernels.h"
#include "solver/WorkerPool.h"

namespace orvo {

/// A run of unknowns, the last one not included.
struct UnknownRange {
  int32_t nFirst = 0, nEnd = 0;
  int32_t Count() const { return nEnd - nFirst; }
};

/// A diagonal block.
struct DiagonalBlock {
  int32_t nPosition = 0;  ///< of its first unknown
  int32_t nRows = 0, nCols = 0;
  int64_t nOffset = 0;  ///< of its first value among the diagonal values
};

/// N = sum over the stored blocks D of the upper block triangle, where a block off the diagonal acts as D at
/// its place and as D^T at the mirrored one. Gathered once per solve from the assembled blocks into one array
/// in row order, which a product walks once.
///
/// Work is divided by the matrix alone: bands of block rows, each of which owns its rows of the result and
/// keeps what falls on rows below in buffers of its own, and panels of unknowns, which add those buffers up
/// in the order of the bands. So a product has the same bits with any number of threads.
class BlockOperator {
 public:
  /// `rowPosition` has the scalar position of every block row; the last row ends at `order`. Blocks without
  /// data, and such as do not fit into the pattern of positions, take no part.
  BlockOperator(std::span<const SubMatrix> blocks, std::span<const int32_t> rowPosition, int32_t order,
                WorkerPool& pool, KernelForm form = BestKernelForm());

  int32_t Order() const { return nOrder; }
  int32_t PanelNum() const { return static_cast<int32_t>(vPanels.size()); }
  /// Together all unknowns in rising order; no diagonal block crosses a border.
  const UnknownRange& Panel(int32_t panel) const { return vPanels[static_cast<size_t>(panel)].Unknowns; }

  /// The diagonal blocks of a panel, in rising order, and the values of one.
  std::span<const DiagonalBlock> Diagonals(int32_t panel) const;
  std::span<const DiagonalBlock> Diagonals() const { return vDiagonals; }
  const double* DiagonalValues() const { return vDiagonalValues.data(); }
  int64_t DiagonalValueNum() const { return static_cast<int64_t>(vDiagonalValues.size()); }

  /// out = N v, both of Order() elements and not the same; `then(panel)` is called as soon as that panel of
  /// `out` stands, from any thread.
  template <typename Then>
  void Multiply(const double* v, double* out, WorkerPool& pool, const Then& then) {
    pool.Run(static_cast<int32_t>(vBands.size()), [&](int32_t band) { MultiplyBand(band, v, out); });
    pool.Run(PanelNum(), [&](int32_t panel) {
      AddMirrors(panel, out);
      then(panel);
    });
  }
  void Multiply(const double* v, double* out, WorkerPool& pool) {
    Multiply(v, out, pool, [](int32_t) {});
  }

 private:
  /// What the strips of one width in a band add to rows elsewhere: images and cameras stand far apart, and a
  /// buffer for each is much shorter than one over both.
  struct Mirror {
    int32_t nCols = 0;
    UnknownRange Target;
    std::unique_ptr<double[]> pSums;
  };
  struct StripOfBand {
    BlockStrip Strip;
    StripKernel fKernel = nullptr;
    int32_t nMirror = 0;
  };
  struct Band {
    UnknownRange Unknowns;
    int32_t nFirstStrip = 0, nStripEnd = 0;
    int32_t nFirstDiagonal = 0, nDiagonalEnd = 0;
    std::vector<Mirror> vMirrors;
  };
  struct PanelRange {
    UnknownRange Unknowns;
    int32_t nFirstDiagonal = 0, nDiagonalEnd = 0;
  };
  struct RowOrder;

  void MakeStrips(std::span<const SubMatrix> blocks, std::span<const int32_t> rowPosition,
                  const RowOrder& rows, KernelForm form);
  void MakeBands(std::span<const int32_t> rowPosition, const RowOrder& rows);
  void MakeMirrors(Band& band);
  void MakePanels();
  void CopyBand(std::span<const SubMatrix> blocks, const Band& band);
  void MultiplyBand(int32_t band, const double* v, double* out);
  void AddMirrors(int32_t panel, double* out) const;

  int32_t nOrder = 0;
  std::vector<StripOfBand> vStrips;  ///< by row
  std::vector<int32_t> vColumns;     ///< scalar column of each block off the diagonal
  std::vector<int32_t> vSource;      ///< the block that each was gathered from
  std::unique_ptr<double[]> pValues;
  int64_t nValueNum = 0;
  std::vector<DiagonalBlock> vDiagonals;
  std::vector<double> vDiagonalValues;
  std::vector<Band> vBands;
  std::vector<PanelRange> vPanels;
};

/// M^-1 for M the block diagonal of N; the inverses are formed once.
class BlockPreconditioner {
 public:
  BlockPreconditioner(const BlockOperator& matrix, WorkerPool& pool);

  /// False when a diagonal block is not square: it and all blocks behind it then do nothing.
  bool IsValid() const { return bValid; }
  /// z = M^-1 r for the unknowns of one panel. Unknowns without a diagonal block, or with a singular one, get
  /// 0.
  void Apply(int32_t panel, const double* r, double* z) const;

 private:
  const BlockOperator& Matrix;
  std::vector<double> vInverses;  ///< as the diagonal values of the matrix
  bool bValid = true;
};

}  // namespace orvo
