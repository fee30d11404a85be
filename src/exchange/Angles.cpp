#include "exchange/Angles.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "geometry/camera/Rotation.h"

namespace orvo::exchange {
namespace {

/// Beyond it the two other angles turn about one axis, as far as double precision can tell.
constexpr double kLock = 1 - 1e-15;

constexpr Rotation kEastNorthUpOfNorthEastDown = {0, 1, 0, 1, 0, 0, 0, 0, -1};
/// Of the mount: camera axes to those of what yaw, pitch and roll turn (x ahead, y to the right, z down).
constexpr Rotation kCameraInGimbal = {0, 0, -1, 1, 0, 0, 0, -1, 0};

const Rotation& CameraIn(Mount mount) {
  return mount == Mount::Body ? kEastNorthUpOfNorthEastDown : kCameraInGimbal;
}

using Matrix = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

Rotation FromEigen(const Eigen::Matrix3d& m) {
  Rotation R;
  Eigen::Map<Matrix>(R.data()) = m;
  return R;
}

Eigen::Matrix3d ToEigen(const Rotation& R) { return Eigen::Map<const Matrix>(R.data()); }

Eigen::AngleAxisd AboutX(double angle) { return {angle, Eigen::Vector3d::UnitX()}; }
Eigen::AngleAxisd AboutY(double angle) { return {angle, Eigen::Vector3d::UnitY()}; }
Eigen::AngleAxisd AboutZ(double angle) { return {angle, Eigen::Vector3d::UnitZ()}; }

constexpr std::array kSystems = {
    std::pair("orvo", AngleSystem::Orvo), std::pair("standard", AngleSystem::Standard),
    std::pair("body", AngleSystem::Body), std::pair("gimbal", AngleSystem::Gimbal)};

}  // namespace

Rotation ProductOf(const Rotation& a, const Rotation& b) { return FromEigen(ToEigen(a) * ToEigen(b)); }
Rotation TransposeOf(const Rotation& a) { return FromEigen(ToEigen(a).transpose()); }

Rotation RotationOf(const OrvoAngles& angles) {
  Rotation R{};
  ComputeRotationMatrix(angles.dPhi, angles.dOmega, angles.dKappa, R.data());
  return R;
}

OrvoAngles OrvoAnglesOf(const Rotation& R) {
  OrvoAngles angles;
  ComputeAngles(R.data(), angles.dPhi, angles.dOmega, angles.dKappa);
  return angles;
}

Rotation RotationOf(const StandardAngles& angles) {
  return FromEigen((AboutX(angles.dOmega) * AboutY(angles.dPhi) * AboutZ(angles.dKappa)).toRotationMatrix());
}

StandardAngles StandardAnglesOf(const Rotation& R) {
  StandardAngles angles;
  angles.dPhi = std::asin(std::clamp(R[2], -1.0, 1.0));
  if (std::abs(R[2]) >= kLock) {
    angles.dOmega = std::atan2(R[7], R[4]);
  } else {
    angles.dOmega = std::atan2(-R[5], R[8]);
    angles.dKappa = std::atan2(-R[1], R[0]);
  }
  return angles;
}

Rotation RotationOf(const YawPitchRoll& angles, Mount mount) {
  const Eigen::Matrix3d turn =
      (AboutZ(angles.dYaw) * AboutY(angles.dPitch) * AboutX(angles.dRoll)).toRotationMatrix();
  return FromEigen(ToEigen(kEastNorthUpOfNorthEastDown) * turn * ToEigen(CameraIn(mount)));
}

YawPitchRoll YawPitchRollOf(const Rotation& R, Mount mount) {
  const Rotation turn = FromEigen(ToEigen(kEastNorthUpOfNorthEastDown).transpose() * ToEigen(R) *
                                  ToEigen(CameraIn(mount)).transpose());
  YawPitchRoll angles;
  angles.dPitch = std::asin(std::clamp(-turn[6], -1.0, 1.0));
  if (std::abs(turn[6]) >= kLock) {
    angles.dYaw = std::atan2(-turn[1], turn[4]);
  } else {
    angles.dYaw = std::atan2(turn[3], turn[0]);
    angles.dRoll = std::atan2(turn[7], turn[8]);
  }
  return angles;
}

const char* NameOf(AngleSystem system) {
  for (const auto& [name, entry] : kSystems) {
    if (entry == system) return name;
  }
  return "";
}

std::optional<AngleSystem> AngleSystemOf(const std::string& name) {
  for (const auto& [entry, system] : kSystems) {
    if (name == entry) return system;
  }
  return std::nullopt;
}

Rotation RotationOfDegrees(AngleSystem system, const std::array<double, 3>& degrees) {
  constexpr double kRadians = std::numbers::pi / 180;
  const double a = degrees[0] * kRadians, b = degrees[1] * kRadians, c = degrees[2] * kRadians;
  switch (system) {
    case AngleSystem::Orvo:
      return RotationOf(OrvoAngles{b, a, c});
    case AngleSystem::Standard:
      return RotationOf(StandardAngles{a, b, c});
    case AngleSystem::Body:
      return RotationOf(YawPitchRoll{a, b, c}, Mount::Body);
    case AngleSystem::Gimbal:
      break;
  }
  return RotationOf(YawPitchRoll{a, b, c}, Mount::Gimbal);
}

std::array<double, 3> DegreesOf(AngleSystem system, const Rotation& R) {
  constexpr double kDegrees = 180 / std::numbers::pi;
  if (system == AngleSystem::Orvo) {
    const OrvoAngles a = OrvoAnglesOf(R);
    return {a.dOmega * kDegrees, a.dPhi * kDegrees, a.dKappa * kDegrees};
  }
  if (system == AngleSystem::Standard) {
    const StandardAngles a = StandardAnglesOf(R);
    return {a.dOmega * kDegrees, a.dPhi * kDegrees, a.dKappa * kDegrees};
  }
  const YawPitchRoll a = YawPitchRollOf(R, system == AngleSystem::Body ? Mount::Body : Mount::Gimbal);
  return {a.dYaw * kDegrees, a.dPitch * kDegrees, a.dRoll * kDegrees};
}

}  // namespace orvo::exchange
