// Damping of the finished normal equations.
#include <algorithm>

#include "normal/Damping.h"
#include "run/BundleAdjustment.h"
#include "verdict/RunTrack.h"

namespace orvo {
namespace {

/// d becomes d mu + d on the first `count` diagonal elements of a block; the matrix may end before.
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

}  // namespace

int CBundleAdjustment::AddDampingCoefficients(int32_t iteration) {
  // Deliberate: the settings of these two never reach the solver.
  Limits.PCG_IGN_Converge_Threshold = 0.1;
  Limits.Max_PCG_Iteration_Num = 300;
  const double mu =
      DampingFactor({Frame.bSevenParamApplied, Settings.Free_LM_Iteration_Num, Settings.GCP_LM_Iteration_Num,
                     Settings.Damping_Coefficient, Settings.fDampingBase},
                    iteration);
  if (pTrack) {
    pTrack->fMu = mu;
    if (!Limits.Apply_PCG_Model && Normal.pDenseNormal) {
      pTrack->vDiagonal.resize(static_cast<size_t>(Unknowns.nUnknownNum));
      const double* d = Normal.pDenseNormal.get();
      for (double& element : pTrack->vDiagonal) {
        element = *d;
        d += Unknowns.nUnknownNum + 1;
      }
    }
  }
  return Limits.Apply_PCG_Model ? DampSparse(mu) : DampDense(mu);
}

int CBundleAdjustment::DampSparse(double mu) {
  const auto diagonalBlock = [this](int32_t row) -> SubMatrix* {
    const int32_t id = GetSubMatrixId(row, row);
    return id < 0 || static_cast<size_t>(id) >= Normal.pSubMatrices.size()
               ? nullptr
               : &Normal.pSubMatrices[static_cast<size_t>(id)];
  };
  int32_t rows = 0;
  if (Unknowns.nLayoutMode != LayoutMergedEopIop) {
    for (int32_t image = 0; Settings.Set_EOP_Unknown && image < Images.nUnknownImageNum; ++image, ++rows) {
      SubMatrix* block = diagonalBlock(image);
      if (!block) {
        LogPrintf("Error!EOP Sub Matrix %d %d ID invalid!\n", image, image);
        return 0;
      }
      if (block->nRows != block->nCols) {
        LogPrintf("Error!EOP Sparse normal matrix size invalid!\n");
        return 0;
      }
      DampBlock(*block, 6, mu);
    }
    const int32_t eopRows = rows;
    for (int32_t camera = 0; Settings.Set_IOP_Unknown && camera < Cameras.nCameraNum; ++camera, ++rows) {
      SubMatrix* block = diagonalBlock(eopRows + camera);
      if (!block) {
        LogPrintf("Error!IOP Sub Matrix %d %d ID invalid!\n", eopRows, camera);
        return 0;
      }
      if (block->nRows != block->nCols) {
        LogPrintf("Error!IOP Sparse normal matrix size invalid!\n");
        return 0;
      }
      DampBlock(*block, 5, mu);
    }
  } else {
    for (; rows < Images.nUnknownImageNum; ++rows) {
      SubMatrix* block = diagonalBlock(rows);
      if (!block) {
        LogPrintf("Error!Sub Matrix %d %d ID invalid!\n", rows, rows);
        return 0;
      }
      if (block->nRows != block->nCols) {
        LogPrintf("Error!Sparse normal matrix size invalid!\n");
        return 0;
      }
      DampBlock(*block, 11, mu);
    }
  }
  // Cameras alone have no POS blocks.
  const bool pos = (Limits.Apply_GPS_Data || Limits.Apply_IMU_Data) && Unknowns.nLayoutMode != LayoutIop;
  for (int32_t group = 0; pos && group < Images.nGroupNum; ++group) {
    SubMatrix* block = diagonalBlock(rows + group);
    if (!block) {
      // Deliberate: this one goes to the console alone.
      ConsolePrintf("Error!GPS Sub Matrix %d-%d ID invalid!\n", rows, group);
      return 0;
    }
    if (block->nRows != block->nCols) {
      LogPrintf("Error!GPS Sparse normal matrix size invalid!\n");
      return 0;
    }
    DampBlock(*block, block->nRows, mu);
  }
  return 1;
}

int CBundleAdjustment::DampDense(double mu) {
  Diagonal diagonal(Normal.pDenseNormal.get(), Normal.pDenseNormal ? Unknowns.nUnknownNum : 0);
  if (Unknowns.nLayoutMode != LayoutMergedEopIop) {
    const int64_t eop = Settings.Set_EOP_Unknown ? int64_t{6} * Images.nUnknownImageNum : 0;
    const int64_t iop = Settings.Set_IOP_Unknown ? int64_t{5} * Cameras.nCameraNum : 0;
    for (int64_t k = 0; k < eop + iop; ++k) diagonal.Damp(k, k, mu);
  } else {
    for (int64_t image = 0; image < Images.nUnknownImageNum; ++image) {
      // Deliberate: the source steps by 6 while the target steps by 11, so from the second image on the
      // increment comes from another element, which may be damped already.
      for (int64_t k = 0; k < 11; ++k) diagonal.Damp(11 * image + k, 6 * image + k, mu);
    }
  }
  if (Limits.Apply_GPS_Data || Limits.Apply_IMU_Data) {
    const int64_t base = int64_t{6} * Images.nUnknownImageNum +
                         (Settings.Set_IOP_Unknown ? int64_t{5} * Cameras.nCameraNum : 0);
    const int64_t count = int64_t{Unknowns.nPosSize} * Images.nGroupNum;
    for (int64_t k = 0; k < count; ++k) diagonal.Damp(base + k, base + k, mu);
  }
  return 1;
}

}  // namespace orvo
