#include "check/block/RotationDefects.h"

#include <algorithm>
#include <cmath>

namespace orvo {

double OrthonormalityError(const std::array<double, 9>& R) {
  double largest = 0;
  for (size_t a = 0; a < 3; ++a) {
    for (size_t b = 0; b < 3; ++b) {
      double product = a == b ? -1 : 0;
      for (size_t k = 0; k < 3; ++k) product += R[3 * a + k] * R[3 * b + k];
      largest = std::max(largest, std::fabs(product));
    }
  }
  return largest;
}

double Determinant(const std::array<double, 9>& R) {
  return R[0] * (R[4] * R[8] - R[5] * R[7]) - R[1] * (R[3] * R[8] - R[5] * R[6]) +
         R[2] * (R[3] * R[7] - R[4] * R[6]);
}

RotationDefects FindRotationDefects(std::span<const SurveyImage> images) {
  RotationDefects defects;
  for (size_t i = 0; i < images.size(); ++i) {
    const auto& R = images[i].R;
    // What is not finite or has no position is left out of a run, and told elsewhere.
    if (!std::ranges::all_of(R, [](double value) { return std::isfinite(value); })) continue;
    if (images[i].S == std::array<double, 3>{}) continue;
    const bool skewed = OrthonormalityError(R) > kOrthonormalityLimit;
    if (!skewed && Determinant(R) > 0) continue;
    if (defects.nSkewed + defects.nMirrored == 0) defects.nFirst = i;
    ++(skewed ? defects.nSkewed : defects.nMirrored);
  }
  return defects;
}

}  // namespace orvo
