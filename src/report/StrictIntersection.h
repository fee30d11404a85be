// The point that its measurements agree on best: unweighted least squares of the image residuals.
#pragma once

#include <span>

#include "geometry/Intersection.h"
#include "geometry/camera/CameraModel.h"

namespace orvo::report {

/// A measurement freed of principal point and distortion, see CorrectMeasurement, and what it stands on.
/// Working units.
struct StrictRay {
  const ImageFrame* pFrame = nullptr;
  double fFocal = 0;
  ImageCoordinates Corrected{};
};

/// Residual of the ray for a point at P: corrected measurement less projection. Not finite for a point in the
/// plane of the projection centre.
ImageCoordinates StrictResidual(const StrictRay& ray, const double* P);

/// P, in the beginning a point near it such as the classic intersection, becomes the point with the least sum
/// of squared residuals. False, with P unchanged, where there is none: fewer than two images, parallel rays,
/// something that is not finite.
bool IntersectStrictly(std::span<const StrictRay> rays, double* P);

}  // namespace orvo::report
