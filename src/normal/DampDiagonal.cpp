#include "normal/DampDiagonal.h"

#include <algorithm>

#include "normal/BlockLookup.h"

namespace orvo {
namespace {

/// The first `count` diagonal elements of a block; the block may end before.
void DampBlock(SubMatrix& block, int32_t count, double mu) {
  if (!block.pData) return;
  count = std::min(count, block.nRows);
  for (int32_t k = 0; k < count; ++k) {
    double& d = block.pData[static_cast<ptrdiff_t>(k) * (block.nRows + 1)];
    d = d * mu + d;
  }
}

/// A square matrix's diagonal, read and written within its bounds.
class Diagonal {
 public:
  Diagonal(double* matrix, int32_t order) : pMatrix(matrix), nOrder(order) {}
  /// d(target) += mu d(source).
  void Damp(int64_t target, int64_t source, double mu) {
    if (target < nOrder && source < nOrder) at(target) = at(source) * mu + at(target);
  }

 private:
  double& at(int64_t k) { return pMatrix[k * nOrder + k]; }
  double* pMatrix;
  int64_t nOrder;
};

void ReportMissing(const DampFault& fault, RunLog& log) {
  const int32_t first = fault.Run.nFirstRow, ordinal = fault.nOrdinal, row = first + ordinal;
  switch (fault.Run.Kind) {
    case BlockKind::Images:
      log.Print("Error!EOP Sub Matrix %d %d ID invalid!\n", row, row);
      break;
    case BlockKind::Cameras:
      log.Print("Error!IOP Sub Matrix %d %d ID invalid!\n", first, ordinal);
      break;
    case BlockKind::ImagesWithCameras:
      log.Print("Error!Sub Matrix %d %d ID invalid!\n", row, row);
      break;
    case BlockKind::PosGroups:
      // Deliberate: this one goes to the console alone.
      log.PrintToConsole("Error!GPS Sub Matrix %d-%d ID invalid!\n", first, ordinal);
      break;
  }
}

void ReportSize(BlockKind kind, RunLog& log) {
  switch (kind) {
    case BlockKind::Images:
      log.Print("Error!EOP Sparse normal matrix size invalid!\n");
      break;
    case BlockKind::Cameras:
      log.Print("Error!IOP Sparse normal matrix size invalid!\n");
      break;
    case BlockKind::ImagesWithCameras:
      log.Print("Error!Sparse normal matrix size invalid!\n");
      break;
    case BlockKind::PosGroups:
      log.Print("Error!GPS Sparse normal matrix size invalid!\n");
      break;
  }
}

}  // namespace

DampFault DampBlocks(std::span<const BlockRun> runs, double mu, NormalEquations& normal) {
  for (const BlockRun& run : runs) {
    for (int32_t k = 0; k < run.nCount; ++k) {
      SubMatrix* block = FindDiagonalBlock(normal, run.nFirstRow + k);
      if (!block) return {DampFault::Of::Missing, run, k};
      if (block->nRows != block->nCols) return {DampFault::Of::NotSquare, run, k};
      DampBlock(*block, run.nSize, mu);
    }
  }
  return {};
}

void DampDense(std::span<const BlockRun> runs, double mu, int32_t order, NormalEquations& normal) {
  Diagonal diagonal(normal.pDenseNormal.get(), normal.pDenseNormal ? order : 0);
  for (const BlockRun& run : runs) {
    // Deliberate: with images and cameras in one block the source steps by the unknowns of the image alone,
    // so from the second image on the increment comes from another element, which may be damped already.
    const int64_t sourceStep = run.Kind == BlockKind::ImagesWithCameras ? kEopSize : run.nSize;
    for (int64_t block = 0; block < run.nCount; ++block) {
      for (int64_t k = 0; k < run.nSize; ++k) {
        diagonal.Damp(run.nFirstPosition + block * run.nSize + k, run.nFirstPosition + block * sourceStep + k,
                      mu);
      }
    }
  }
}

std::vector<double> DenseDiagonal(const NormalEquations& normal, int32_t order) {
  std::vector<double> diagonal(static_cast<size_t>(order));
  const double* d = normal.pDenseNormal.get();
  for (double& element : diagonal) {
    element = *d;
    d += order + 1;
  }
  return diagonal;
}

void ReportDampFault(const DampFault& fault, RunLog& log) {
  if (fault.What == DampFault::Of::Missing) ReportMissing(fault, log);
  if (fault.What == DampFault::Of::NotSquare) ReportSize(fault.Run.Kind, log);
}

}  // namespace orvo
