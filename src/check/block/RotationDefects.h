// Matrices that are no rotations.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "records/SurveyBlock.h"

namespace orvo {

/// Largest element of R R' - I.
double OrthonormalityError(const std::array<double, 9>& R);
double Determinant(const std::array<double, 9>& R);

struct RotationDefects {
  int64_t nSkewed = 0;    ///< images with an orthonormality error above the limit
  int64_t nMirrored = 0;  ///< of the others, those with a negative determinant
  size_t nFirst = 0;      ///< the first of either kind
};

/// Matrices written with three decimals and more pass.
inline constexpr double kOrthonormalityLimit = 5e-3;

RotationDefects FindRotationDefects(std::span<const SurveyImage> images);

}  // namespace orvo
