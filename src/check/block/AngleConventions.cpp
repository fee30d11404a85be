#include "check/block/AngleConventions.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "geometry/camera/Rotation.h"

namespace orvo {
namespace {

using C = AngleConvention;
constexpr double kDegree = std::numbers::pi / 180, kGon = std::numbers::pi / 200;
constexpr Rotation3 kEastNorth = {0, 1, 0, 1, 0, 0, 0, 0, -1};
constexpr Rotation3 kGimbal = {0, 0, -1, 1, 0, 0, 0, -1, 0};

#define ORVO_OWN "omega, phi and kappa as Orvo has them"
#define ORVO_STANDARD "omega, phi and kappa of R = Rx(omega) Ry(phi) Rz(kappa)"
#define ORVO_BODY "of the aircraft"
#define ORVO_GIMBAL "of the viewing axis, pitch -90 looking down"
#define ORVO_YPR "yaw, pitch and roll "
#define ORVO_RPY "roll, pitch and yaw "
#define ORVO_RADIANS ", in radians"

constexpr AngleReading kReadings[] = {
    {C::Orvo, nullptr, ORVO_OWN, {0, 1, 2}, kDegree},
    {C::Orvo, "P005", "phi, omega and kappa, in this order", {1, 0, 2}, kDegree},
    {C::Standard, "P001", ORVO_STANDARD, {0, 1, 2}, kDegree},
    {C::Body, "P002", ORVO_YPR ORVO_BODY, {0, 1, 2}, kDegree},
    {C::Body, "P002", ORVO_RPY ORVO_BODY, {2, 1, 0}, kDegree},
    {C::Gimbal, "P003", ORVO_YPR ORVO_GIMBAL, {0, 1, 2}, kDegree},
    {C::Gimbal, "P003", ORVO_RPY ORVO_GIMBAL, {2, 1, 0}, kDegree},
    {C::Orvo, "P004", ORVO_OWN ORVO_RADIANS, {0, 1, 2}, 1},
    {C::Orvo, "P004", "phi, omega and kappa, in this order" ORVO_RADIANS, {1, 0, 2}, 1},
    {C::Standard, "P004", ORVO_STANDARD ORVO_RADIANS, {0, 1, 2}, 1},
    {C::Body, "P004", ORVO_YPR ORVO_BODY ORVO_RADIANS, {0, 1, 2}, 1},
    {C::Body, "P004", ORVO_RPY ORVO_BODY ORVO_RADIANS, {2, 1, 0}, 1},
    {C::Gimbal, "P004", ORVO_YPR ORVO_GIMBAL ORVO_RADIANS, {0, 1, 2}, 1},
    {C::Gimbal, "P004", ORVO_RPY ORVO_GIMBAL ORVO_RADIANS, {2, 1, 0}, 1},
    {C::Orvo, "P023", ORVO_OWN ", in gon", {0, 1, 2}, kGon},
    {C::Standard, "P023", ORVO_STANDARD ", in gon", {0, 1, 2}, kGon},
};

Rotation3 AboutX(double a) { return {1, 0, 0, 0, std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a)}; }
Rotation3 AboutY(double a) { return {std::cos(a), 0, std::sin(a), 0, 1, 0, -std::sin(a), 0, std::cos(a)}; }
Rotation3 AboutZ(double a) { return {std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a), 0, 0, 0, 1}; }

Rotation3 YawPitchRoll(double yaw, double pitch, double roll, const Rotation3& mount) {
  return Multiply(Multiply(kEastNorth, Multiply(AboutZ(yaw), Multiply(AboutY(pitch), AboutX(roll)))), mount);
}

}  // namespace

Rotation3 Multiply(const Rotation3& A, const Rotation3& B) {
  Rotation3 result{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column) {
      for (size_t k = 0; k < 3; ++k) result[3 * row + column] += A[3 * row + k] * B[3 * k + column];
    }
  }
  return result;
}

Rotation3 Transposed(const Rotation3& A) { return {A[0], A[3], A[6], A[1], A[4], A[7], A[2], A[5], A[8]}; }

Rotation3 OrvoRotation(double omega, double phi, double kappa) {
  Rotation3 R{};
  ComputeRotationMatrix(phi, omega, kappa, R.data());
  return R;
}

Rotation3 StandardRotation(double omega, double phi, double kappa) {
  return Multiply(AboutX(omega), Multiply(AboutY(phi), AboutZ(kappa)));
}

Rotation3 BodyRotation(double yaw, double pitch, double roll) {
  return YawPitchRoll(yaw, pitch, roll, kEastNorth);
}

Rotation3 GimbalRotation(double yaw, double pitch, double roll) {
  return YawPitchRoll(yaw, pitch, roll, kGimbal);
}

std::span<const AngleReading> AllAngleReadings() { return kReadings; }

Rotation3 Read(const AngleReading& reading, const std::array<double, 3>& numbers) {
  const double unit = reading.dUnit;
  const double a = unit * numbers[reading.Place[0]], b = unit * numbers[reading.Place[1]];
  const double c = unit * numbers[reading.Place[2]];
  switch (reading.Convention) {
    case AngleConvention::Standard:
      return StandardRotation(a, b, c);
    case AngleConvention::Body:
      return BodyRotation(a, b, c);
    case AngleConvention::Gimbal:
      return GimbalRotation(a, b, c);
    default:
      return OrvoRotation(a, b, c);
  }
}

std::array<double, 3> PosAngles(const Rotation3& R) {
  double phi, omega, kappa;
  ComputeAngles(R.data(), phi, omega, kappa);
  return {omega / kDegree, phi / kDegree, kappa / kDegree};
}

double AngleBetween(const Rotation3& A, const Rotation3& B) {
  double trace = 0, squares = 0;
  for (size_t i = 0; i < 9; ++i) {
    trace += A[i] * B[i];
    squares += (A[i] - B[i]) * (A[i] - B[i]);
  }
  // The cosine tells large angles well, the chord small ones.
  const double sine = std::sqrt(squares / 8);
  return trace > 0 ? 2 * std::asin(std::min(1.0, sine)) : std::acos(std::clamp((trace - 1) / 2, -1.0, 1.0));
}

}  // namespace orvo
