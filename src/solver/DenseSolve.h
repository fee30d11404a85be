// Direct solution of a dense symmetric system.
#pragma once

#include <cstdint>

namespace orvo {

enum class DenseSolution {
  Cholesky,   ///< by the Cholesky factors, the remainder as small as rounding leaves it
  FullPivot,  ///< by the full-pivot inverse, where the matrix is not positive definite or the remainder too
              ///< large
  NotFinite,  ///< by the inverse, with elements that are no numbers
  Singular    ///< the inverse was refused; x and remainder say nothing
};

/// Solves N x = b for a symmetric N (order n, row-major, both triangles) and forms the remainder b - N x.
/// `N` is zero afterwards, ready for the next equations. Up to `threads` threads; the numbers do not depend
/// on how many.
DenseSolution SolveDense(double* N, int32_t n, const double* b, double* x, double* remainder,
                         int32_t threads);

}  // namespace orvo
