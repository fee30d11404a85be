// The angle systems of other programs against rotation matrices.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "exchange/ForeignRotation.h"

namespace orvo::exchange {

/// Rotations of images take camera axes (x right, y up, z back) to object axes.
Rotation ProductOf(const Rotation& a, const Rotation& b);
Rotation TransposeOf(const Rotation& a);

/// Three angles in radians, by the names of their system.
struct OrvoAngles {
  double dPhi = 0, dOmega = 0, dKappa = 0;
};
struct StandardAngles {
  double dOmega = 0, dPhi = 0, dKappa = 0;
};
struct YawPitchRoll {
  double dYaw = 0, dPitch = 0, dRoll = 0;
};

/// What yaw, pitch and roll turn.
enum class Mount {
  Body,   ///< the aircraft: all 0 is level flight to the north, with the camera looking down
  Gimbal  ///< the camera: pitch 0 looks to the horizon, -90 degrees down
};

/// R = Ry(-phi) Rx(omega) Rz(kappa), the angles of our own files.
Rotation RotationOf(const OrvoAngles& angles);
OrvoAngles OrvoAnglesOf(const Rotation& R);

/// R = Rx(omega) Ry(phi) Rz(kappa), the omega-phi-kappa of most programs. With phi at 90 degrees kappa is 0.
Rotation RotationOf(const StandardAngles& angles);
StandardAngles StandardAnglesOf(const Rotation& R);

/// R = E Rz(yaw) Ry(pitch) Rx(roll) B in axes east, north, up: yaw clockwise from north, pitch up, roll to
/// the right. With pitch of the gimbal at 90 degrees (straight down) roll is 0.
Rotation RotationOf(const YawPitchRoll& angles, Mount mount);
YawPitchRoll YawPitchRollOf(const Rotation& R, Mount mount);

/// The systems that a file of angles may be in.
enum class AngleSystem { Orvo, Standard, Body, Gimbal };

/// "orvo", "standard", "body", "gimbal".
const char* NameOf(AngleSystem system);
std::optional<AngleSystem> AngleSystemOf(const std::string& name);

/// Three angles in degrees, in the order in which the system is named: omega, phi, kappa, or yaw, pitch,
/// roll.
Rotation RotationOfDegrees(AngleSystem system, const std::array<double, 3>& degrees);
std::array<double, 3> DegreesOf(AngleSystem system, const Rotation& R);

}  // namespace orvo::exchange
