// Orientations of programs that have y down and z to the front.
#pragma once

#include <array>
#include <optional>

namespace orvo::exchange {

/// Row-major.
using Rotation = std::array<double, 9>;
using Vector3 = std::array<double, 3>;

/// A pose that takes object coordinates into a camera frame with x right, y down, z to the front:
/// Xc = Rc X + t. With F = diag(1, -1, -1), ours is R = Rc' F and S = -Rc' t; back Rc = F R', t = -Rc S.
struct ForeignPose {
  Rotation Rc{};
  Vector3 t{};
};
struct SurveyPose {
  Rotation R{};
  Vector3 S{};
};
SurveyPose SurveyPoseOf(const ForeignPose& pose);
ForeignPose ForeignPoseOf(const SurveyPose& pose);

/// A quaternion w, x, y, z of any length above 0; false where its length is none or not finite.
bool RotationOfQuaternion(const std::array<double, 4>& q, Rotation& R);
/// With w not below 0.
std::array<double, 4> QuaternionOf(const Rotation& R);
/// Axis times angle in radians; nothing of an angle that is not finite or above 1e6, which has no digits
/// left.
std::optional<Rotation> RotationOfAngleAxis(const Vector3& axis);
/// Whether a translation is finite and below 1e15 units, above which no digits are left of what lies around
/// it.
bool IsUsableTranslation(const Vector3& t);
Vector3 AngleAxisOf(const Rotation& R);
/// The nearest rotation; false where a matrix is not one within 1e-3, as one that is a reflection.
bool MakeRotation(Rotation& R);

}  // namespace orvo::exchange
