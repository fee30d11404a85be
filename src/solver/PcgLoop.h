// Conjugate gradients on the sparse form, stopped by a forcing term.
#pragma once

#include <cstdint>
#include <functional>

#include "base/Threads.h"
#include "solver/BlockOperator.h"

namespace orvo {

struct PcgLimits {
  int32_t nMaxIterationNum = 0;
  double fForcing = 0;  ///< the loop ends at a relative residual not above this
};

/// The figures of one iteration k.
struct PcgIteration {
  double fResidualNorm = 0;   ///< |b - N x_k|
  double fDirectionNorm = 0;  ///< of the direction that led to x_k
  double fConjugacyLoss = 0;  ///< next direction times N times this one, 0 in exact arithmetic
  double fAlpha = 0;          ///< step along the direction
  double fBeta = 0;           ///< share of this direction in the next one
  double fEta = 0;            ///< forcing term |b - N x_k| / |b|
};

struct PcgOutcome {
  int32_t nIterationNum = 0;
  double fBestEta = 100.0;  ///< smallest forcing term
  bool bExhausted = false;  ///< the limit was reached: x is the iterate with the smallest forcing term
};

/// Solves N x = b from the start in `x`; b and x have matrix.Order() elements. The residual of every
/// iteration is b - N x from products of that iteration, without what earlier residuals were wrong by.
/// `report` is called at the end of each iteration.
///
/// A limit of 1 or 2 leaves the last iterate. A product p . N p of 0, or a b of zeros, makes x and the
/// forcing term not-a-numbers, which ends the loop; x is then left so, for the caller to discard.
PcgOutcome SolvePcg(BlockOperator& matrix, const BlockPreconditioner& preconditioner, const double* b,
                    double* x, const PcgLimits& limits, WorkerPool& pool,
                    const std::function<void(const PcgIteration&)>& report);

}  // namespace orvo
