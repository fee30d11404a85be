// What one more step without damping would gain, from the equations of the last iteration.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "normal/NormalEquations.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/RunLimits.h"
#include "solver/DenseSolve.h"
#include "solver/SparseSolve.h"

namespace orvo {

/// What a prediction goes by.
struct PredictionBasis {
  /// Whether the iteration ends behind the step: a prediction is made for the last one alone.
  std::function<bool(std::span<const double> x)> IsLast;
  /// Takes out of a right side what lies along the ways in which a free block moves as a whole; null where
  /// something ties the block to a frame.
  std::function<void(std::vector<double>& r)> RemoveDatum;
  double fMu = 0;                    ///< damping that the equations have
  double fSquares = 1;               ///< sum of squares of the residuals, that the gain is a share of
  double fLimit = 0;                 ///< percent of it that the gain is compared with
  std::span<const double> Diagonal;  ///< dense form: before the damping
};

/// The sum of squares that a decrease is a share of: that of the residuals, and never less than if each were
/// as small as `floor`, working image units.
double JudgedSquares(const ResidualStatistics& residuals, double floor);

/// True when nothing ties the block to a frame.
bool IsFree(const PointStore& points, const RunLimits& limits);

/// The gain behind the step `x` as a share of the squares, from the solved system, its matrix and right side;
/// nothing without the diagonal.
std::optional<double> PredictDense(const DenseSystem& system, const NormalEquations& normal,
                                   std::span<const int32_t> rowPosition, std::span<const double> x,
                                   const PredictionBasis& basis);

/// Divides the diagonals of the diagonal blocks by 1 + mu.
void TakeOffDamping(int32_t blockRowNum, double mu, NormalEquations& normal);

/// The same from equations without damping.
double PredictSparse(const SparseSystem& system, std::span<const double> b, std::span<const double> x,
                     const PredictionBasis& basis);

}  // namespace orvo
