// The iterative solution in its slow, obvious form: block after block, everything formed anew wherever it is
// used.
#pragma once

#include <cstdint>
#include <vector>

#include "solver/BlockSystems.h"

namespace orvo::test {

/// out = N v over the blocks in their order. Returns 0 for a null pointer, else 1.
int MultiplyNormalMatrix(const BlockSystem* system, const double* v, double* out);
/// out = M^-1 r, every diagonal block inverted on the spot; a singular one gives nothing. Returns 0 for a
/// null pointer or at a block that is not square, which leaves the rows behind it zero.
int ApplyPreconditioner(const BlockSystem* system, const double* r, double* out);
/// out = matrix x vector. Returns 0 for a null vector or result or where the lengths differ.
int MultiplyRowsByVector(const double* matrix, int32_t rows, int32_t cols, const double* vector,
                         int32_t vectorLength, double* out);

/// The numbers of one line of the log, in its order.
struct ReferenceLine {
  double dValues[6];
};
struct ReferenceRun {
  std::vector<double> x;
  std::vector<ReferenceLine> vLines;
  double fBestEta = 100.0;
  bool bExhausted = false;
};
ReferenceRun ReferencePcg(const BlockSystem& system, std::vector<double> start, int32_t maxIterationNum,
                          double forcingLimit);

}  // namespace orvo::test
