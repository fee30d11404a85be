// Whether a control point fits its rays.
#pragma once

#include <cstdint>
#include <optional>

#include "rigorous/PointPlace.h"
#include "rigorous/Problem.h"
#include "rigorous/SmallMatrix.h"

namespace orvo::rigorous {

/// d' C^-1 d of the observed coordinates, C the cofactors of d, by the `variance` of a value of standard
/// deviation 1.
struct ControlMisfit {
  Vector3 Difference{};  ///< observed less the place; 0 where not observed
  double fSquare = 0;
  int32_t nDirections = 0;
};

/// Of a control point that takes part, at its adjusted place: C is what the place leaves of the observation,
/// and counts in directions in which that is more than a thousandth. Coordinates that are held have no
/// misfit.
ControlMisfit MisfitWithin(const ControlObservation& control, const Vector3& place, const Matrix3& cofactor,
                           double variance);

/// Against a place that it had no part in: both errors add up. What is held has none of its own.
ControlMisfit MisfitOutside(const ControlObservation& control, const Vector3& place, const Matrix3& cofactor,
                            double variance);

/// The second against the place by the point's rays alone, with poses and cameras as if they were known;
/// looked for `from` there.
/// Empty where two rays and more determine no place, or no coordinate is observed.
std::optional<ControlMisfit> MisfitAtRays(const PointSurroundings& around, std::span<const Ray> rays,
                                          const ControlObservation& control, const Vector3& from,
                                          double variance);

}  // namespace orvo::rigorous
