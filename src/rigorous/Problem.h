// An adjustment as plain values: what is observed, how well, and what is unknown.
// Lengths of the object space are in object units, off an origin near the block (the caller's shift); those
// of the images in the unit of the measurements and of f; angles in radians; times in any one unit. A
// standard deviation belongs to each single value. Where it says so, 0 or infinity stand for "held" and "not
// observed".
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "base/ScratchVector.h"
#include "rigorous/LensModel.h"
#include "rigorous/PosModel.h"
#include "rigorous/RayModel.h"
#include "rigorous/SmallMatrix.h"

namespace orvo::rigorous {

/// In place of a standard deviation: nothing is observed.
inline constexpr double kNotObserved = std::numeric_limits<double>::infinity();
inline constexpr Vector3 kNotObserved3 = {kNotObserved, kNotObserved, kNotObserved};

struct CameraModel {
  double fSigma = 1;                                             ///< of a measured coordinate, above 0
  uint32_t nLensUnknowns = 0;                                    ///< bits of LensModel.h
  Lens Prior;                                                    ///< observed values of the parameters
  std::array<double, kLensParameterNum> PriorSigma = NoPrior();  ///< in the order of Lens; above 0
  bool bLeverArm = false, bBoresight = false;                    ///< unknown
  Vector3 LeverArmPrior{}, LeverArmSigma = kNotObserved3;        ///< above 0
  Matrix3 BoresightPrior = kIdentity3;
  Vector3 BoresightSigma = kNotObserved3;  ///< of the rotation vector; above 0

  static constexpr std::array<double, kLensParameterNum> NoPrior() {
    std::array<double, kLensParameterNum> sigma{};
    for (double& s : sigma) s = kNotObserved;
    return sigma;
  }
};

/// Both observations are in force component by component, where the standard deviation is finite (and above
/// 0).
struct ImageModel {
  int32_t nCamera = 0;
  int32_t nStrip = -1;  ///< -1: no drift
  double fTime = 0;     ///< of its strip's drift
  bool bUnknown = true;
  Vector3 GpsObserved{}, GpsSigma = kNotObserved3;
  Matrix3 ImuObserved = kIdentity3;
  Vector3 ImuSigma = kNotObserved3;  ///< of the rotation vector in the frame of the IMU
};

/// Which terms of a strip's drift are unknown, and what is known of them beforehand (of 0; sigmas above 0).
struct StripModel {
  bool bGpsConstant = false, bGpsLinear = false, bImuConstant = false, bImuLinear = false;
  Vector3 GpsConstantSigma = kNotObserved3, GpsLinearSigma = kNotObserved3;
  Vector3 ImuConstantSigma = kNotObserved3, ImuLinearSigma = kNotObserved3;
};

/// A measurement. Those of a point follow each other, in the order of Problem::vFirstRay.
struct Ray {
  int32_t nImage = 0;  ///< below 0: left out of everything
  float x = 0, y = 0;
};

/// Observed coordinates of a point. A component with standard deviation 0 is held at its value and no
/// unknown, one with infinity is not observed.
struct ControlObservation {
  int64_t nPoint = 0;
  Vector3 Observed{}, Sigma{};
};

/// Points are in an order in which neighbours share images (OrderOfPoints in PointChunks.h), whatever theirs
/// was.
struct Problem {
  ResidualForm Form = ResidualForm::Measured;
  std::vector<CameraModel> vCameras;
  std::vector<ImageModel> vImages;
  std::vector<StripModel> vStrips;
  ScratchVector<int64_t> vFirstRay = {0};  ///< by point into vRays, and the number of rays at the end
  ScratchVector<Ray> vRays;
  std::vector<ControlObservation> vControl;  ///< by ascending point, each point at most once

  int64_t PointNum() const { return std::ssize(vFirstRay) - 1; }
  std::span<const Ray> RaysOf(int64_t point) const {
    return std::span(vRays).subspan(vFirstRay[point], vFirstRay[point + 1] - vFirstRay[point]);
  }
};

struct CameraEstimate {
  Lens LensNow;
  Vector3 LeverArm{};
  Matrix3 Boresight = kIdentity3;
};

struct StripEstimate {
  StripDrift Gps, Imu;
};

/// Values of everything that can be unknown, in the order of the problem.
struct Estimate {
  std::vector<ImagePose> vPoses;
  std::vector<CameraEstimate> vCameras;
  std::vector<StripEstimate> vStrips;
  ScratchVector<Vector3> vPoints;
};

}  // namespace orvo::rigorous
