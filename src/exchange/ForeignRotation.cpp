#include "exchange/ForeignRotation.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace orvo::exchange {
namespace {

using Matrix3 = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;
using ConstMap = Eigen::Map<const Matrix3>;

Rotation Array(const Matrix3& matrix) {
  Rotation R;
  Eigen::Map<Matrix3>(R.data()) = matrix;
  return R;
}

const Eigen::DiagonalMatrix<double, 3> kFlip(1, -1, -1);

constexpr double kMostTurn = 1e6;

}  // namespace

SurveyPose SurveyPoseOf(const ForeignPose& pose) {
  const ConstMap Rc(pose.Rc.data());
  const Eigen::Map<const Eigen::Vector3d> t(pose.t.data());
  SurveyPose result;
  result.R = Array(Rc.transpose() * kFlip);
  Eigen::Map<Eigen::Vector3d>(result.S.data()) = -(Rc.transpose() * t);
  return result;
}

ForeignPose ForeignPoseOf(const SurveyPose& pose) {
  const ConstMap R(pose.R.data());
  const Eigen::Map<const Eigen::Vector3d> S(pose.S.data());
  const Matrix3 Rc = kFlip * R.transpose();
  ForeignPose result;
  result.Rc = Array(Rc);
  Eigen::Map<Eigen::Vector3d>(result.t.data()) = -(Rc * S);
  return result;
}

bool RotationOfQuaternion(const std::array<double, 4>& q, Rotation& R) {
  Eigen::Quaterniond quaternion(q[0], q[1], q[2], q[3]);
  const double length = quaternion.norm();
  if (!(length > 1e-100) || !std::isfinite(length)) return false;
  quaternion.coeffs() /= length;
  R = Array(quaternion.toRotationMatrix());
  return true;
}

std::array<double, 4> QuaternionOf(const Rotation& R) {
  Eigen::Quaterniond q(Eigen::Matrix3d(ConstMap(R.data())));
  q.normalize();
  if (q.w() < 0) q.coeffs() = -q.coeffs();
  return {q.w(), q.x(), q.y(), q.z()};
}

std::optional<Rotation> RotationOfAngleAxis(const Vector3& axis) {
  const Eigen::Map<const Eigen::Vector3d> vector(axis.data());
  const double angle = vector.norm();
  if (!(angle <= kMostTurn)) return std::nullopt;
  if (angle == 0) return Array(Matrix3::Identity());
  return Array(Eigen::AngleAxisd(angle, vector / angle).toRotationMatrix());
}

bool IsUsableTranslation(const Vector3& t) {
  return std::ranges::all_of(t, [](double value) { return std::abs(value) < 1e15; });
}

Vector3 AngleAxisOf(const Rotation& R) {
  const std::array<double, 4> q = QuaternionOf(R);
  const double sine = std::hypot(q[1], q[2], q[3]);
  // Near no turn at all the angle is twice its half's sine.
  const double factor = sine > 1e-12 ? 2 * std::atan2(sine, q[0]) / sine : 2;
  return {factor * q[1], factor * q[2], factor * q[3]};
}

bool MakeRotation(Rotation& R) {
  const ConstMap given(R.data());
  if (!given.allFinite() || !(given.norm() < 1e3)) return false;
  if ((given * given.transpose() - Matrix3::Identity()).norm() > 1e-3 || given.determinant() <= 0)
    return false;
  const Eigen::JacobiSVD<Eigen::Matrix3d> svd(given, Eigen::ComputeFullU | Eigen::ComputeFullV);
  R = Array(svd.matrixU() * svd.matrixV().transpose());
  return true;
}

}  // namespace orvo::exchange
