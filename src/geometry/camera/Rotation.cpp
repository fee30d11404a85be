#include "geometry/camera/Rotation.h"

#include <algorithm>
#include <cmath>

namespace orvo {

int ComputeRotationMatrix(double phi, double omega, double kappa, double* R) {
  const double sinPhi = std::sin(phi), cosPhi = std::cos(phi);
  const double sinOmega = std::sin(omega), cosOmega = std::cos(omega);
  const double sinKappa = std::sin(kappa), cosKappa = std::cos(kappa);
  R[0] = cosKappa * cosPhi - sinOmega * sinPhi * sinKappa;
  R[1] = -sinKappa * cosPhi - sinOmega * sinPhi * cosKappa;
  R[2] = -cosOmega * sinPhi;
  R[3] = sinKappa * cosOmega;
  R[4] = cosKappa * cosOmega;
  R[5] = -sinOmega;
  R[6] = sinOmega * cosPhi * sinKappa + cosKappa * sinPhi;
  R[7] = sinOmega * cosPhi * cosKappa - sinKappa * sinPhi;
  R[8] = cosOmega * cosPhi;
  return 1;
}

void ComputeAngles(const double* R, double& phi, double& omega, double& kappa) {
  phi = std::atan2(-R[2], R[8]);
  // The sine of a product of rotations can exceed 1 in its last digit.
  omega = std::asin(std::clamp(-R[5], -1.0, 1.0));
  kappa = std::atan2(R[3], R[4]);
}

}  // namespace orvo
