#include "rigorous/PosModel.h"

#include <cmath>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

/// Of all numbers whether each is finite and their magnitudes have a sum.
template <class... Parts>
bool AreFinite(const Parts&... parts) {
  double sum = 0;
  const auto add = [&sum](const auto& part) {
    for (const double number : part) sum += std::fabs(number);
  };
  (add(parts), ...);
  return std::isfinite(sum);
}

}  // namespace

bool LinearizeGps(const ImagePose& pose, const Vector3& leverArm, const StripDrift& drift, double time,
                  const Vector3& observed, GpsRows& rows) {
  GpsRows out;
  const Vector3 shift = Multiply(pose.R, leverArm) + drift.Constant + time * drift.Linear;
  // Both are large and near each other: their difference is exact.
  out.Residual = (observed - pose.Centre) - shift;
  out.ByCentre = -1 * kIdentity3;
  out.ByRotation = Multiply(pose.R, CrossMatrix(leverArm));
  out.ByLeverArm = -1 * pose.R;
  out.ByConstant = -1 * kIdentity3;
  out.ByLinear = -time * kIdentity3;
  if (!AreFinite(out.Residual, out.ByRotation, out.ByLeverArm, out.ByLinear)) return false;
  rows = out;
  return true;
}

bool LinearizeImu(const ImagePose& pose, const Matrix3& boresight, const StripDrift& drift, double time,
                  const Matrix3& observed, ImuRows& rows) {
  ImuRows out;
  const Vector3 turn = drift.Constant + time * drift.Linear;
  const Matrix3 drifted = RotationOfVector(turn);
  const Matrix3 byCamera = Transposed(Multiply(boresight, drifted));
  const Matrix3 difference = Multiply(byCamera, Multiply(Transposed(pose.R), observed));
  if (!AreFinite(difference)) return false;
  out.Residual = VectorOfRotation(difference);

  // Every unknown turns the difference on its left: e changes by the inverse left Jacobian of e times that
  // turn.
  const Matrix3 byLeft = -1 * Transposed(InverseRightJacobian(out.Residual));
  out.ByRotation = Multiply(byLeft, byCamera);
  out.ByBoresight = Multiply(byLeft, Transposed(drifted));
  out.ByConstant = Multiply(byLeft, RightJacobian(turn));
  out.ByLinear = time * out.ByConstant;
  if (!AreFinite(out.Residual, out.ByRotation, out.ByBoresight, out.ByConstant, out.ByLinear)) return false;
  rows = out;
  return true;
}

}  // namespace orvo::rigorous
