// Rotations from the angles that programs and receivers write.
#pragma once

#include <array>
#include <span>

namespace orvo {

using Rotation3 = std::array<double, 9>;  ///< row-major, camera axes (x right, y up, z back) to object axes

/// Radians all. Ry(-phi) Rx(omega) Rz(kappa): Orvo's own.
Rotation3 OrvoRotation(double omega, double phi, double kappa);
/// Rx(omega) Ry(phi) Rz(kappa).
Rotation3 StandardRotation(double omega, double phi, double kappa);
/// E Rz(yaw) Ry(pitch) Rx(roll) E, E = rows (0 1 0)(1 0 0)(0 0 -1): of the aircraft, a camera looking down.
Rotation3 BodyRotation(double yaw, double pitch, double roll);
/// E Rz(yaw) Ry(pitch) Rx(roll) B, B = rows (0 0 -1)(1 0 0)(0 -1 0): of the viewing axis, pitch -90 down.
Rotation3 GimbalRotation(double yaw, double pitch, double roll);

enum class AngleConvention { Orvo, Standard, Body, Gimbal };

/// How the three numbers of a POS line may be meant.
struct AngleReading {
  AngleConvention Convention;
  const char* szCode;           ///< null for what they have to be
  const char* szWhat;           ///< clause behind "angles are"
  std::array<size_t, 3> Place;  ///< of omega, phi, kappa or yaw, pitch, roll among the numbers
  double dUnit;                 ///< radians
};

/// Degrees first, the reading as it has to be before all.
std::span<const AngleReading> AllAngleReadings();

/// The rotation of a line's three numbers.
Rotation3 Read(const AngleReading& reading, const std::array<double, 3>& numbers);

/// Omega, phi and kappa in degrees of a rotation, as a POS line has them.
std::array<double, 3> PosAngles(const Rotation3& R);

/// The angle of A B', radians.
double AngleBetween(const Rotation3& A, const Rotation3& B);
Rotation3 Multiply(const Rotation3& A, const Rotation3& B);
Rotation3 Transposed(const Rotation3& A);

}  // namespace orvo
