// The observations that no point has a part in, one after the other, with their rows: GPS and IMU of images,
// and what is known beforehand of cameras and drifts.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>

#include "rigorous/Problem.h"
#include "rigorous/SmallMatrix.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

/// What is observed, and whose it is: of an image, a camera, or a strip.
enum class OwnKind : uint8_t {
  Gps,
  Imu,
  Lens,  ///< from here on of a camera
  LeverArm,
  Boresight,
  GpsConstant,  ///< from here on of a strip
  GpsLinear,
  ImuConstant,
  ImuLinear
};

/// How many of three values have a standard deviation that is finite.
int32_t ObservedNum(const Vector3& sigma);

/// Derivatives of three residuals by unknowns that stand side by side: three, or the first column alone.
struct OwnTerm {
  int32_t nNode = -1, nColumn = -1;
  Matrix3 Rows{};
  int32_t nWidth = 3;

  /// Held unknowns have no column.
  bool IsHeld() const { return nNode < 0 || nColumn < 0; }
};

/// Three values that are observed together; of a lens one parameter, in the first place.
struct OwnRows {
  OwnKind Kind = OwnKind::Gps;
  int32_t nOwner = 0;                          ///< image, camera or strip
  LensParameter Parameter = LensParameter::F;  ///< of a lens
  std::array<bool, 3> IsCounted{};             ///< observed, and a number; what is not has rows of 0
  int32_t nNotFinite = 0;                      ///< values that are observed, but could not be computed
  Vector3 Residual{};                          ///< by its standard deviation, as are the rows
  std::span<const OwnTerm> Terms;              ///< held ones among them
};

/// Calls `take` for all that have an observed value. Without a plan everything counts as held.
void ForEachOwnObservation(const Problem& problem, const UnknownPlan* plan, const Estimate& estimate,
                           const std::function<void(const OwnRows&)>& take);

}  // namespace orvo::rigorous
