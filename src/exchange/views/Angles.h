// The angles of an image in the two systems that tables show, degrees.
#pragma once

#include <array>

namespace orvo::exchange {

/// Of one rotation matrix. Orvo: R = Ry(-phi) Rx(omega) Rz(kappa). Standard: R = Rx(omega) Ry(phi) Rz(kappa).
struct AngleSystems {
  double dOrvoPhi = 0, dOrvoOmega = 0, dOrvoKappa = 0;
  double dOmega = 0, dPhi = 0, dKappa = 0;
};

AngleSystems AnglesOf(const std::array<double, 9>& R);

}  // namespace orvo::exchange
