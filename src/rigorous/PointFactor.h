// The normal matrix of a point, factored as far as the point is determined.
#pragma once

#include <array>

#include "rigorous/SmallMatrix.h"

namespace orvo::rigorous {

/// Pivots of a point below this part of their diagonal element are no knowledge of the point: the direction
/// takes no step, and nothing is eliminated along it.
inline constexpr double kPointPivot = 1e-10;

/// Symmetric: xx, xy, xz, yy, yz, zz.
using PointMatrix = std::array<double, 6>;

/// Q with Q Q' = M^-1 over the coordinates that are determined, and 0 elsewhere.
struct PointFactor {
  Matrix3 Q{};  ///< a column each, by the coordinates in their order; 0 where not determined
  std::array<bool, 3> IsDetermined{};

  int RankNum() const { return IsDetermined[0] + IsDetermined[1] + IsDetermined[2]; }
};

/// By Cholesky's method on the matrix scaled to a unit diagonal. A coordinate whose pivot is not above
/// `leastPivot` is left out and the next one tried without it: as M is J'J, what is left has the same least
/// squares solution for a singular M. `isHeld` are no unknowns. What is not finite determines nothing.
PointFactor FactorOf(const PointMatrix& M, const std::array<bool, 3>& isHeld,
                     double leastPivot = kPointPivot);

}  // namespace orvo::rigorous
