// What one more step without damping would gain: for the verdict, from the equations of the last iteration.
#include <algorithm>
#include <cmath>

#include "base/WorkerPool.h"
#include "geometry/OrvoMatrix.h"
#include "run/BundleAdjustment.h"
#include "run/RunVerdict.h"
#include "solver/BlockInverse.h"
#include "solver/BlockOperator.h"
#include "solver/Cholesky.h"
#include "solver/DenseSolve.h"
#include "solver/PredictedDecrease.h"
#include "solver/SolverThreads.h"
#include "verdict/DatumDirections.h"
#include "verdict/RunTrack.h"

namespace orvo {
namespace {

/// The factor of the damped matrix stands for the inverse of the undamped one up to this damping.
constexpr double kMuOfGoodFactor = 1e-2;

/// Inverses of the diagonal blocks of a dense matrix that has its lower triangle and, apart, its diagonal.
class DiagonalInverses {
 public:
  DiagonalInverses(const double* N, const std::vector<double>& diagonal, const UnknownLayout& layout,
                   int32_t rows) {
    const auto n = static_cast<int64_t>(diagonal.size());
    for (int32_t row = 0; row < rows; ++row) {
      const int64_t first = layout.Position(row), end = row + 1 < rows ? layout.Position(row + 1) : n;
      const auto size = static_cast<int32_t>(std::min(end, n) - first);
      if (size < 1) continue;
      std::vector<double> block(static_cast<size_t>(size) * static_cast<size_t>(size));
      for (int32_t i = 0; i < size; ++i) {
        for (int32_t j = 0; j < size; ++j) {
          const int64_t lower = std::max(i, j), upper = std::min(i, j);
          block[static_cast<size_t>(i * size + j)] =
              i == j ? diagonal[static_cast<size_t>(first + i)] : N[(first + lower) * n + first + upper];
        }
      }
      if (InvertBlockInPlace(block.data(), size) != 1) std::fill(block.begin(), block.end(), 0.0);
      vBlocks.push_back({first, size, std::move(block)});
    }
  }
  void Apply(const double* r, double* z) const {
    for (const Block& block : vBlocks) {
      for (int32_t i = 0; i < block.nSize; ++i) {
        double sum = 0;
        for (int32_t j = 0; j < block.nSize; ++j) {
          sum += block.Inverse[static_cast<size_t>(i * block.nSize + j)] * r[block.nFirst + j];
        }
        z[block.nFirst + i] = sum;
      }
    }
  }

 private:
  struct Block {
    int64_t nFirst;
    int32_t nSize;
    std::vector<double> Inverse;
  };
  std::vector<Block> vBlocks;
};

/// The sum of squares that a decrease is a share of; never less than that of the smallest residuals that
/// count.
double JudgedSquares(const CBundleAdjustment& run) {
  const double floor = VerdictLimits().fRmseFloor * run.Settings.Image_Coor_Scale;
  return std::max(run.Residuals.fResidualSquareSumX + run.Residuals.fResidualSquareSumY,
                  floor * floor * static_cast<double>(std::max(run.Residuals.nValidImagePointNum, 1)));
}

DecreaseLimits LimitsOf(const CBundleAdjustment& run, double squares) {
  DecreaseLimits limits;
  // Some way above the limit, so that the figure told says more than that it was passed.
  limits.fEnough = 2 * DecreaseLimit(DecreaseBasisOf(run)) / 100 * squares;
  return limits;
}

}  // namespace

bool CBundleAdjustment::IsFree() const {
  return Points.nControlPointNum == 0 && !Limits.Apply_GPS_Data && !Limits.Apply_IMU_Data;
}

bool CBundleAdjustment::IsLastStep(int32_t iteration, const double* x) const {
  return iteration + 1 >= Settings.Max_LM_Iteration_Num ||
         Settings.LM_Converge_Threshold > std::fabs(MaxMagnitude(x, Unknowns.nUnknownNum, 1));
}

void CBundleAdjustment::PredictDense(const DenseSystem& system, const double* x) {
  const auto n = static_cast<size_t>(Unknowns.nUnknownNum);
  const std::vector<double>& diagonal = pTrack->vDiagonal;
  if (diagonal.size() != n) return;
  std::vector<double> r(n);
  const std::vector<double> zero(n, 0.0);
  system.Factor.Remainder(diagonal.data(), Normal.pConstVector.data(), x, r.data());
  const auto multiply = [&](const double* p, double* q) {
    system.Factor.Remainder(diagonal.data(), zero.data(), p, q);
    for (size_t i = 0; i < n; ++i) q[i] = -q[i];
  };
  if (IsFree()) RemoveDatum(Layout(), Images.Kept(), r);
  const double squares = JudgedSquares(*this);
  const bool factorServes = system.Solution == DenseSolution::Cholesky && pTrack->fMu <= kMuOfGoodFactor;
  std::optional<DiagonalInverses> inverses;
  if (!factorServes) inverses.emplace(Normal.pDenseNormal.get(), diagonal, Layout(), Unknowns.nBlockRowNum);
  pTrack->fPredictedShare = PredictedDecrease(std::move(r), LimitsOf(*this, squares), multiply,
                                              [&](const double* from, double* z) {
                                                if (inverses) return inverses->Apply(from, z);
                                                std::copy_n(from, n, z);
                                                system.Factor.Solve(z);
                                              }) /
                            squares;
}

void CBundleAdjustment::PredictSparse(const double* x) {
  std::vector<int32_t> rowPosition(static_cast<size_t>(std::max(Unknowns.nBlockRowNum, 0)));
  for (int32_t row = 0; row < Unknowns.nBlockRowNum; ++row) {
    int32_t column = 0;
    GetUnknownPosition(row, row, rowPosition[static_cast<size_t>(row)], column);
    const int32_t id = GetSubMatrixId(row, row);
    if (id < 0 || static_cast<size_t>(id) >= Normal.pSubMatrices.size()) continue;
    SubMatrix& block = Normal.pSubMatrices[static_cast<size_t>(id)];
    for (int32_t k = 0; block.pData != nullptr && k < std::min(block.nRows, block.nCols); ++k) {
      block.pData[static_cast<ptrdiff_t>(k) * (block.nCols + 1)] /= 1 + pTrack->fMu;
    }
  }
  const auto n = static_cast<size_t>(Unknowns.nUnknownNum);
  WorkerPool pool(SolverThreadNum(System.ProcessorCount(), Normal.pSubMatrices));
  BlockOperator matrix(Normal.pSubMatrices, rowPosition, Unknowns.nUnknownNum);
  const BlockPreconditioner preconditioner(matrix, pool);
  std::vector<double> r(n);
  matrix.Multiply(x, r.data(), pool);
  for (size_t i = 0; i < n; ++i) r[i] = Normal.pConstVector[i] - r[i];
  if (IsFree()) RemoveDatum(Layout(), Images.Kept(), r);
  const double squares = JudgedSquares(*this);
  pTrack->fPredictedShare =
      PredictedDecrease(
          std::move(r), LimitsOf(*this, squares),
          [&](const double* p, double* q) { matrix.Multiply(p, q, pool); },
          [&](const double* from, double* z) {
            pool.Run(matrix.PanelNum(), [&](int32_t panel) { preconditioner.Apply(panel, from, z); });
          }) /
      squares;
}

}  // namespace orvo
