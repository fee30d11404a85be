// The iterative solution of the sparse form, and its matrix and preconditioner by themselves.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "base/RunLog.h"
#include "normal/SubMatrix.h"
#include "solver/PcgLoop.h"

namespace orvo {

/// N x = b with N in blocks, as BlockOperator takes them.
struct SparseSystem {
  std::span<const SubMatrix> Blocks;
  std::span<const int32_t> RowPosition;  ///< scalar position of every block row
  int32_t nOrder = 0;
  int nProcessors = 1;  ///< that products may use; the numbers do not depend on how many
};

/// Solves from the start in `x`, with a line for each iteration; their number. Leaves x as it is where it is
/// null or `b` shorter than the order. `stepDone`, unless it is empty, is called behind each one.
int32_t SolveSparse(const SparseSystem& system, std::span<const double> b, const PcgLimits& limits,
                    RunLog& log, double* x, const std::function<void(int32_t)>& stepDone = {});

/// out = N v
void MultiplySparse(const SparseSystem& system, const double* v, double* out);

/// out = M^-1 r for M the block diagonal of N. False where a diagonal block is not square: it and all rows
/// behind it give 0. So do rows without a diagonal block; a singular one acts as its inversion leaves it.
bool PreconditionSparse(const SparseSystem& system, const double* r, double* out);

/// out = matrix times vector for a row-major matrix. 1; 0 without a vector or a result, and where `cols`
/// differs from `vectorLength`.
int MultiplyRowsByVector(const double* matrix, int32_t rows, int32_t cols, const double* vector,
                         int32_t vectorLength, double* out);

}  // namespace orvo
