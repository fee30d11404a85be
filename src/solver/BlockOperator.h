// The reduced normal matrix as products walk through it, and its block-Jacobi preconditioner.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/Threads.h"
#include "normal/SubMatrix.h"
#include "solver/BlockKernels.h"

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
  int64_t nOffset = 0;              ///< of its first value in an array of all diagonal blocks
  const double* pValues = nullptr;  ///< row-major
};

/// One of the products that are formed in one walk.
struct Product {
  const double* v = nullptr;
  double* out = nullptr;
};

/// N = sum over the stored blocks D of the upper block triangle, where a block off the diagonal acts as D at
/// its place and as D^T at the mirrored one. The blocks stay where the assembly has put them: in the order of
/// the rows, for the most part, so that a product walks through them once, from end to end.
///
/// Work is divided by the matrix alone: bands of block rows, each of which owns its rows of the result and
/// keeps what falls on rows below in buffers of its own, and panels of unknowns, which add those buffers up
/// in the order of the bands. So a product has the same bits with any number of threads.
class BlockOperator {
 public:
  /// `rowPosition` has the scalar position of every block row; the last row ends at `order`. Blocks without
  /// data, and such as do not fit into the pattern of positions, take no part. The data of the others have to
  /// outlive this.
  BlockOperator(std::span<const SubMatrix> blocks, std::span<const int32_t> rowPosition, int32_t order,
                InstructionSet set = BestInstructionSet());

  int32_t Order() const { return nOrder; }
  int32_t PanelNum() const { return static_cast<int32_t>(vPanels.size()); }
  /// Together all unknowns in rising order; no diagonal block crosses a border.
  const UnknownRange& Panel(int32_t panel) const { return vPanels[static_cast<size_t>(panel)].Unknowns; }

  InstructionSet Set() const { return nSet; }
  /// The diagonal blocks of a panel, in rising order, and of all panels.
  std::span<const DiagonalBlock> Diagonals(int32_t panel) const;
  std::span<const DiagonalBlock> Diagonals() const { return vDiagonals; }
  size_t DiagonalValueNum() const { return vDiagonalValues.size(); }

  /// out = N v for one or two products at once, all vectors of Order() elements and none an input and an
  /// output. `then(panel)` is called as soon as that panel of the results stands, from any thread.
  template <typename Then>
  void Multiply(std::span<const Product> products, WorkerPool& pool, const Then& then) {
    pool.Run(static_cast<int32_t>(vBands.size()), [&](int32_t band) { MultiplyBand(band, products); });
    pool.Run(PanelNum(), [&](int32_t panel) {
      for (size_t h = 0; h < products.size(); ++h) AddMirrors(panel, h, products[h].out);
      then(panel);
    });
  }
  void Multiply(const double* v, double* out, WorkerPool& pool) {
    const Product product{v, out};
    Multiply(std::span(&product, 1), pool, [](int32_t) {});
  }

 private:
  /// What the strips of one width in a band add to rows elsewhere: images and cameras stand far apart, and a
  /// buffer for each is much shorter than one over both.
  struct Mirror {
    int32_t nCols = 0;
    UnknownRange Target;
    std::unique_ptr<double[]> pSums;  ///< for two products, one behind the other
  };
  struct StripOfBand {
    BlockStrip Strip;
    StripKernel fKernels[2] = {};  ///< for one product and for two
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
                  const RowOrder& rows);
  void MakeSpacing(std::span<const double* const> places);
  void TakeDiagonal(const SubMatrix& block, int32_t position);
  void MakeBands(std::span<const int32_t> rowPosition, const RowOrder& rows);
  void MakeMirrors(Band& band);
  void MakePanels();
  void MultiplyBand(int32_t band, std::span<const Product> products);
  void AddMirrors(int32_t panel, size_t product, double* out) const;

  int32_t nOrder = 0;
  InstructionSet nSet;
  std::vector<StripOfBand> vStrips;       ///< by row
  std::vector<int32_t> vColumns;          ///< scalar column of each block off the diagonal
  int64_t nValueNum = 0;                  ///< of these
  std::vector<const double*> vScattered;  ///< places of the blocks of strips that are not evenly spaced
  std::vector<DiagonalBlock> vDiagonals;
  std::vector<double> vDiagonalValues;  ///< column by column
  std::vector<Band> vBands;
  std::vector<PanelRange> vPanels;
};

/// M^-1 for M the block diagonal of N; the inverses are formed once.
class BlockPreconditioner {
 public:
  BlockPreconditioner(const BlockOperator& matrix, WorkerPool& pool);

  /// False when a diagonal block is not square: it and all blocks behind it then do nothing.
  bool IsValid() const { return bValid; }
  /// z = M^-1 r for the unknowns of one panel. Unknowns without a diagonal block get 0. A singular one acts
  /// as InvertBlockInPlace leaves it.
  void Apply(int32_t panel, const double* r, double* z) const;

 private:
  const BlockOperator& Matrix;
  std::vector<double> vInverses;  ///< column by column
  bool bValid = true;
};

}  // namespace orvo
