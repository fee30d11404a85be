#include "exchange/views/Angles.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "geometry/camera/Rotation.h"

namespace orvo::exchange {

AngleSystems AnglesOf(const std::array<double, 9>& R) {
  constexpr double kDegrees = 180 / std::numbers::pi;
  AngleSystems angles;
  ComputeAngles(R.data(), angles.dOrvoPhi, angles.dOrvoOmega, angles.dOrvoKappa);
  // R13 = sin(phi), R23 = -sin(omega) cos(phi), R12 = -cos(phi) sin(kappa).
  angles.dPhi = std::asin(std::clamp(R[2], -1.0, 1.0));
  angles.dOmega = std::atan2(-R[5], R[8]);
  angles.dKappa = std::atan2(-R[1], R[0]);
  for (double* angle : {&angles.dOrvoPhi, &angles.dOrvoOmega, &angles.dOrvoKappa, &angles.dOmega,
                        &angles.dPhi, &angles.dKappa}) {
    *angle *= kDegrees;
  }
  return angles;
}

}  // namespace orvo::exchange
