// What a POS file says of the accuracy of its lines.
#pragma once

#include <array>
#include <limits>

namespace orvo {

/// Standard deviations of one image: infinity says that a value is not observed, not-a-number that the file
/// does not tell.
struct PosSigma {
  static constexpr double kNotTold = std::numeric_limits<double>::quiet_NaN();

  std::array<double, 3> Position = {kNotTold, kNotTold, kNotTold};  ///< X, Y, Z, object units
  std::array<double, 3> Angles = {kNotTold, kNotTold, kNotTold};    ///< phi, omega, kappa, radians
};

}  // namespace orvo
