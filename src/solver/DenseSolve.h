// Direct solution of a dense symmetric system.
#pragma once

#include <cstdint>
#include <functional>

namespace orvo {

class Cholesky;

enum class DenseSolution {
  Cholesky,   ///< by the Cholesky factors, the remainder as small as rounding leaves it
  FullPivot,  ///< by the full-pivot inverse, where the matrix is not positive definite or the remainder too
              ///< large
  NotFinite,  ///< by the inverse, with elements that are no numbers
  Singular    ///< the inverse was refused; x and remainder say nothing
};

/// The equations behind a solution, while they are still there.
struct DenseSystem {
  const Cholesky& Factor;  ///< has N in its strict lower triangle; solves where the solution came by Cholesky
  DenseSolution Solution;
};
using DenseLook = std::function<void(const DenseSystem&)>;

/// Solves N x = b for a symmetric N (order n, row-major, both triangles) and forms the remainder b - N x.
/// `N` is zero afterwards, ready for the next equations. Up to `threads` threads; the numbers do not depend
/// on how many. `look` is called when x stands and before N is cleared, unless it is singular.
DenseSolution SolveDense(double* N, int32_t n, const double* b, double* x, double* remainder, int32_t threads,
                         const DenseLook& look = {});

}  // namespace orvo
