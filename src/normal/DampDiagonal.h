// Damping of the finished normal equations.
#pragma once

#include <cstdint>
#include <span>

#include "base/RunLog.h"
#include "normal/NormalEquations.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// The first diagonal block that can't be damped.
struct DampFault {
  enum class Of { None, Missing, NotSquare } What = Of::None;
  BlockRun Run;          ///< that it belongs to
  int32_t nOrdinal = 0;  ///< in the run
};

/// Sparse form: d becomes d mu + d on the diagonal of the diagonal blocks of all `runs`; stops at the first
/// block that is missing or not square. A block without data stays as it is.
DampFault DampBlocks(std::span<const BlockRun> runs, double mu, NormalEquations& normal);

/// The same for the diagonal of `pDenseNormal`, of order `order`; what lies outside takes no part.
void DampDense(std::span<const BlockRun> runs, double mu, int32_t order, NormalEquations& normal);

/// The diagonal of the dense form.
std::vector<double> DenseDiagonal(const NormalEquations& normal, int32_t order);

void ReportDampFault(const DampFault& fault, RunLog& log);

}  // namespace orvo
