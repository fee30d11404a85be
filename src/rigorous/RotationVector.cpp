#include "rigorous/RotationVector.h"

#include "geometry/camera/Rotation.h"

namespace orvo::rigorous {
namespace {

/// q0 + (q1, q2, q3), of length 1.
struct Quaternion {
  double q0;
  Vector3 q;
};

/// sin(x) / x.
double SineQuotient(double x) { return x == 0 ? 1 : std::sin(x) / x; }

Quaternion QuaternionOfVector(const Vector3& w) {
  const double half = Norm(w) / 2;
  return {std::cos(half), SineQuotient(half) / 2 * w};
}

Vector3 VectorOfQuaternion(Quaternion a) {
  if (a.q0 < 0) a = {-a.q0, -1.0 * a.q};
  const double sine = Norm(a.q);
  return sine == 0 ? Vector3{} : 2 * std::atan2(sine, a.q0) / sine * a.q;
}

/// From the largest of the four numbers, so that none is the root of a difference of near equals.
Quaternion QuaternionOfRotation(const Matrix3& R) {
  const double trace = R[0] + R[4] + R[8];
  const Vector3 skew = {R[7] - R[5], R[2] - R[6], R[3] - R[1]};
  int largest = 0;
  for (int i = 1; i < 3; ++i) {
    if (R[4 * i] > R[4 * largest]) largest = i;
  }
  if (trace >= R[4 * largest]) {
    const double twice = std::sqrt(1 + trace);
    return {twice / 2, 0.5 / twice * skew};
  }
  const int i = largest, j = (i + 1) % 3, k = (i + 2) % 3;
  const double twice = std::sqrt(1 + R[4 * i] - R[4 * j] - R[4 * k]);
  Quaternion a{skew[i] * 0.5 / twice, {}};
  a.q[i] = twice / 2;
  a.q[j] = (R[3 * i + j] + R[3 * j + i]) * 0.5 / twice;
  a.q[k] = (R[3 * i + k] + R[3 * k + i]) * 0.5 / twice;
  return a;
}

Matrix3 Sum(const Matrix3& A, const Matrix3& B) {
  Matrix3 C;
  for (int i = 0; i < 9; ++i) C[i] = A[i] + B[i];
  return C;
}

/// I + a [w]x + b [w]x [w]x.
Matrix3 CrossSeries(const Vector3& w, double a, double b) {
  const Matrix3 W = CrossMatrix(w);
  return Sum(Sum(kIdentity3, a * W), b * Multiply(W, W));
}

/// (1 - cos t) / t^2 without the difference.
double CosineQuotient(double t) {
  const double half = SineQuotient(t / 2);
  return half * half / 2;
}

}  // namespace

Matrix3 RotationOfVector(const Vector3& w) {
  const double t = Norm(w);
  return CrossSeries(w, SineQuotient(t), CosineQuotient(t));
}

Vector3 VectorOfRotation(const Matrix3& R) { return VectorOfQuaternion(QuaternionOfRotation(R)); }

Vector3 ComposedVector(const Vector3& a, const Vector3& b) {
  const Quaternion p = QuaternionOfVector(a), q = QuaternionOfVector(b);
  const double dot = p.q[0] * q.q[0] + p.q[1] * q.q[1] + p.q[2] * q.q[2];
  return VectorOfQuaternion({p.q0 * q.q0 - dot, p.q0 * q.q + q.q0 * p.q + Multiply(CrossMatrix(p.q), q.q)});
}

Matrix3 RotationUpdatedBy(const Matrix3& R, const Vector3& w) {
  const Matrix3 turned = Multiply(R, RotationOfVector(w));
  // One step of Newton's method towards the nearest rotation: R (3 I - R'R) / 2.
  return 0.5 * Multiply(turned, Sum(3 * kIdentity3, -1 * Multiply(Transposed(turned), turned)));
}

Matrix3 RightJacobian(const Vector3& w) {
  const double t = Norm(w);
  // (t - sin t) / t^3; below 0.1 by its series, whose next term is beyond the last digit.
  const double t2 = t * t;
  const double b =
      t < 0.1 ? 1.0 / 6 - t2 / 120 + t2 * t2 / 5040 - t2 * t2 * t2 / 362880 : (1 - std::sin(t) / t) / t2;
  return CrossSeries(w, -CosineQuotient(t), b);
}

Matrix3 InverseRightJacobian(const Vector3& w) {
  const double t = Norm(w), half = t / 2, t2 = t * t;
  const double b = t < 0.1 ? 1.0 / 12 + t2 / 720 + t2 * t2 / 30240 + t2 * t2 * t2 / 1209600
                           : (1 - half * std::cos(half) / std::sin(half)) / t2;
  return CrossSeries(w, 0.5, b);
}

Matrix3 RotationOfAngles(const Vector3& phiOmegaKappa) {
  Matrix3 R;
  ComputeRotationMatrix(phiOmegaKappa[0], phiOmegaKappa[1], phiOmegaKappa[2], R.data());
  return R;
}

Vector3 AnglesOfRotation(const Matrix3& R) {
  Vector3 angles;
  ComputeAngles(R.data(), angles[0], angles[1], angles[2]);
  return angles;
}

Matrix3 VectorByAngles(const Vector3& phiOmegaKappa) {
  const double sinOmega = std::sin(phiOmegaKappa[1]), cosOmega = std::cos(phiOmegaKappa[1]);
  const double sinKappa = std::sin(phiOmegaKappa[2]), cosKappa = std::cos(phiOmegaKappa[2]);
  // Column by column the axes -Y, X and Z of the three turns, each seen through the turns on its right.
  return {-sinKappa * cosOmega, cosKappa, 0, -cosKappa * cosOmega, -sinKappa, 0, sinOmega, 0, 1};
}

}  // namespace orvo::rigorous
