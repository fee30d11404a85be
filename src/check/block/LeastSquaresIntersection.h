// A point from its rays, each weighing the same in the image.
#pragma once

#include <array>
#include <optional>
#include <span>

#include "check/block/SightRays.h"

namespace orvo {

struct RayIntersection {
  std::array<double, 3> P{};  ///< object units of the rays
  double dRms = 0;            ///< root mean square length of the residuals, image units
  double dDepth = 0;          ///< mean distance from the cameras along their viewing axes
  int nRays = 0, nBehind = 0;
  bool bAbove = false;  ///< higher than the mean of its cameras
};

/// The least squares intersection of two rays and more, by the collinearity equations multiplied by their
/// denominators, which are weighed anew four times. It takes rays as whole lines: a point may lie behind
/// cameras. Empty where the rays determine no point.
std::optional<RayIntersection> IntersectLeastSquares(std::span<const SightRay> rays);

/// The length of the residual of a point on a ray, image units; infinite where it is not before the camera.
double MissOf(const SightRay& ray, const std::array<double, 3>& P);

}  // namespace orvo
