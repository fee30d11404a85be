// What a GCP file says of the accuracy of its points.
#pragma once

#include <array>
#include <limits>

namespace orvo {

/// Standard deviations of X, Y and Z of one point, object units: 0 holds the coordinate, infinity says that
/// it is not observed, not-a-number that the file does not tell.
struct GcpSigma {
  static constexpr double kNotTold = std::numeric_limits<double>::quiet_NaN();

  char szName[32] = {};
  std::array<double, 3> Sigma = {kNotTold, kNotTold, kNotTold};
};

}  // namespace orvo
