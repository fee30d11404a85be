// The geometry of the listings, written out the long way: what the writers' figures are compared with.
#pragma once

#include <array>
#include <span>

#include "records/Records.h"

namespace orvo::test {

using Matrix3 = std::array<std::array<double, 3>, 3>;
using Vector3 = std::array<double, 3>;

/// The product of the three elementary rotations about Y, X and Z.
Matrix3 SlowRotation(double phi, double omega, double kappa);

/// Object difference in the camera frame.
Vector3 SlowCameraFrame(const EopRecord& image, const Vector3& P);

/// Weighted least squares over all rays, the first of n with weight n, the last with 1; the factor on the
/// distortion of y is y less the principal point's x.
Vector3 SlowIntersection(std::span<const ImagePointRecord> rays, std::span<const EopRecord> eop,
                         std::span<const IopRecord> iop);

/// vx, vy with the square radius of the raw measurement in single precision.
std::array<double, 2> SlowListingResidual(const ImagePointRecord& point, const EopRecord& image,
                                          const IopRecord& camera, const Vector3& P);

}  // namespace orvo::test
