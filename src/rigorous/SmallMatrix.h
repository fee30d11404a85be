// Vectors and 3 x 3 matrices of the observation models, as plain values.
#pragma once

#include <array>
#include <cmath>

namespace orvo::rigorous {

using Vector2 = std::array<double, 2>;
using Vector3 = std::array<double, 3>;
/// Row-major.
using Matrix3 = std::array<double, 9>;

inline constexpr Matrix3 kIdentity3 = {1, 0, 0, 0, 1, 0, 0, 0, 1};

inline Vector3 operator+(const Vector3& a, const Vector3& b) {
  return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
inline Vector3 operator-(const Vector3& a, const Vector3& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline Vector3 operator*(double s, const Vector3& a) { return {s * a[0], s * a[1], s * a[2]}; }
inline Matrix3 operator*(double s, Matrix3 A) {
  for (double& a : A) a *= s;
  return A;
}

/// Neither squares nor their sum leave the range of numbers.
inline double Norm(const Vector3& a) { return std::hypot(a[0], a[1], a[2]); }

inline Vector3 Multiply(const Matrix3& A, const Vector3& b) {
  return {A[0] * b[0] + A[1] * b[1] + A[2] * b[2], A[3] * b[0] + A[4] * b[1] + A[5] * b[2],
          A[6] * b[0] + A[7] * b[1] + A[8] * b[2]};
}

/// A' b.
inline Vector3 MultiplyTransposed(const Matrix3& A, const Vector3& b) {
  return {A[0] * b[0] + A[3] * b[1] + A[6] * b[2], A[1] * b[0] + A[4] * b[1] + A[7] * b[2],
          A[2] * b[0] + A[5] * b[1] + A[8] * b[2]};
}

inline Matrix3 Transposed(const Matrix3& A) { return {A[0], A[3], A[6], A[1], A[4], A[7], A[2], A[5], A[8]}; }

inline Matrix3 Multiply(const Matrix3& A, const Matrix3& B) {
  Matrix3 C;
  for (int i = 0; i < 9; i += 3) {
    for (int k = 0; k < 3; ++k) C[i + k] = A[i] * B[k] + A[i + 1] * B[3 + k] + A[i + 2] * B[6 + k];
  }
  return C;
}

/// [a]x with [a]x b = a x b.
inline Matrix3 CrossMatrix(const Vector3& a) { return {0, -a[2], a[1], a[2], 0, -a[0], -a[1], a[0], 0}; }

}  // namespace orvo::rigorous
