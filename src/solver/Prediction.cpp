#include "solver/Prediction.h"

#include <algorithm>

#include "base/Threads.h"
#include "normal/BlockLookup.h"
#include "solver/BlockInverse.h"
#include "solver/BlockOperator.h"
#include "solver/Cholesky.h"
#include "solver/PredictedDecrease.h"
#include "solver/SolverThreads.h"

namespace orvo {
namespace {

/// The factor of the damped matrix stands for the inverse of the undamped one up to this damping.
constexpr double kMuOfGoodFactor = 1e-2;

/// Inverses of the diagonal blocks of a dense matrix that has its lower triangle and, apart, its diagonal.
class DiagonalInverses {
 public:
  DiagonalInverses(const double* N, std::span<const double> diagonal, std::span<const int32_t> rowPosition) {
    const auto n = static_cast<int64_t>(diagonal.size());
    for (size_t row = 0; row < rowPosition.size(); ++row) {
      const int64_t first = rowPosition[row], end = row + 1 < rowPosition.size() ? rowPosition[row + 1] : n;
      const auto size = static_cast<int32_t>(std::min(end, n) - first);
      if (size < 1) continue;
      std::vector<double> block(static_cast<size_t>(size) * static_cast<size_t>(size));
      for (int32_t i = 0; i < size; ++i) {
        for (int32_t j = 0; j < size; ++j) {
          const int64_t lower = std::max(i, j), upper = std::min(i, j);
          block[static_cast<size_t>(int64_t{i} * size + j)] =
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
          sum += block.Inverse[static_cast<size_t>(int64_t{i} * block.nSize + j)] * r[block.nFirst + j];
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

DecreaseLimits LimitsOf(const PredictionBasis& basis) {
  DecreaseLimits limits;
  // Some way above the limit, so that the figure told says more than that it was passed.
  limits.fEnough = 2 * basis.fLimit / 100 * basis.fSquares;
  return limits;
}

}  // namespace

double JudgedSquares(const ResidualStatistics& residuals, double floor) {
  return std::max(residuals.fResidualSquareSumX + residuals.fResidualSquareSumY,
                  floor * floor * static_cast<double>(std::max(residuals.nValidImagePointNum, 1)));
}

bool IsFree(const PointStore& points, const RunLimits& limits) {
  return points.nControlPointNum == 0 && !limits.Apply_GPS_Data && !limits.Apply_IMU_Data;
}

std::optional<double> PredictDense(const DenseSystem& system, const NormalEquations& normal,
                                   std::span<const int32_t> rowPosition, std::span<const double> x,
                                   const PredictionBasis& basis) {
  const size_t n = x.size();
  const std::span<const double> diagonal = basis.Diagonal;
  if (diagonal.size() != n) return {};
  std::vector<double> r(n);
  const std::vector<double> zero(n, 0.0);
  system.Factor.Remainder(diagonal.data(), normal.pConstVector.data(), x.data(), r.data());
  const auto multiply = [&](const double* p, double* q) {
    system.Factor.Remainder(diagonal.data(), zero.data(), p, q);
    for (size_t i = 0; i < n; ++i) q[i] = -q[i];
  };
  if (basis.RemoveDatum) basis.RemoveDatum(r);
  const bool factorServes = system.Solution == DenseSolution::Cholesky && basis.fMu <= kMuOfGoodFactor;
  std::optional<DiagonalInverses> inverses;
  if (!factorServes) inverses.emplace(normal.pDenseNormal.get(), diagonal, rowPosition);
  return PredictedDecrease(std::move(r), LimitsOf(basis), multiply,
                           [&](const double* from, double* z) {
                             if (inverses) return inverses->Apply(from, z);
                             std::copy_n(from, n, z);
                             system.Factor.Solve(z);
                           }) /
         basis.fSquares;
}

void TakeOffDamping(int32_t blockRowNum, double mu, NormalEquations& normal) {
  for (int32_t row = 0; row < blockRowNum; ++row) {
    const SubMatrix* block = FindDiagonalBlock(normal, row);
    if (block == nullptr || block->pData == nullptr) continue;
    for (int32_t k = 0; k < std::min(block->nRows, block->nCols); ++k) {
      block->pData[static_cast<ptrdiff_t>(k) * (block->nCols + 1)] /= 1 + mu;
    }
  }
}

double PredictSparse(const SparseSystem& system, std::span<const double> b, std::span<const double> x,
                     const PredictionBasis& basis) {
  WorkerPool pool(SolverThreadNum(system.nProcessors, system.Blocks));
  BlockOperator matrix(system.Blocks, system.RowPosition, system.nOrder);
  const BlockPreconditioner preconditioner(matrix, pool);
  std::vector<double> r(x.size());
  matrix.Multiply(x.data(), r.data(), pool);
  for (size_t i = 0; i < r.size(); ++i) r[i] = b[i] - r[i];
  if (basis.RemoveDatum) basis.RemoveDatum(r);
  return PredictedDecrease(
             std::move(r), LimitsOf(basis), [&](const double* p, double* q) { matrix.Multiply(p, q, pool); },
             [&](const double* from, double* z) {
               pool.Run(matrix.PanelNum(), [&](int32_t panel) { preconditioner.Apply(panel, from, z); });
             }) /
         basis.fSquares;
}

}  // namespace orvo
