#include "results/SlowModel.h"

#include <cmath>

namespace orvo::test {
namespace {

Matrix3 Product(const Matrix3& a, const Matrix3& b) {
  Matrix3 c{};
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) {
      for (size_t k = 0; k < 3; ++k) c[i][j] += a[i][k] * b[k][j];
    }
  }
  return c;
}

double Determinant(const Matrix3& m) {
  return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
         m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
         m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

}  // namespace

Matrix3 SlowRotation(double phi, double omega, double kappa) {
  const Matrix3 aboutY{{{std::cos(phi), 0, -std::sin(phi)}, {0, 1, 0}, {std::sin(phi), 0, std::cos(phi)}}};
  const Matrix3 aboutX{
      {{1, 0, 0}, {0, std::cos(omega), -std::sin(omega)}, {0, std::sin(omega), std::cos(omega)}}};
  const Matrix3 aboutZ{
      {{std::cos(kappa), -std::sin(kappa), 0}, {std::sin(kappa), std::cos(kappa), 0}, {0, 0, 1}}};
  return Product(Product(aboutY, aboutX), aboutZ);
}

Vector3 SlowCameraFrame(const EopRecord& image, const Vector3& P) {
  const Matrix3 R = SlowRotation(image.fPhi, image.fOmega, image.fKappa);
  const Vector3 d{P[0] - image.X, P[1] - image.Y, P[2] - image.Z};
  Vector3 b{};
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) b[i] += R[j][i] * d[j];
  }
  return b;
}

Vector3 SlowIntersection(std::span<const ImagePointRecord> rays, std::span<const EopRecord> eop,
                         std::span<const IopRecord> iop) {
  Matrix3 N{};
  Vector3 W{};
  for (size_t n = 0; n < rays.size(); ++n) {
    const EopRecord& image = eop[static_cast<size_t>(rays[n].nImage)];
    const IopRecord& camera = iop[static_cast<size_t>(rays[n].nCamera)];
    const Matrix3 R = SlowRotation(image.fPhi, image.fOmega, image.fKappa);
    const double u = rays[n].x - camera.fPrincipalX, v = rays[n].y - camera.fPrincipalY;
    const double r2 = u * u + v * v;
    const double D = camera.fK1 * r2 + camera.fK2 * r2 * r2;
    const double corrected[2] = {u - u * D, v - (rays[n].y - camera.fPrincipalX) * D};
    const auto weight = static_cast<double>(rays.size() - n);
    for (size_t axis = 0; axis < 2; ++axis) {
      Vector3 a{};
      for (size_t i = 0; i < 3; ++i) a[i] = camera.fFocal * R[i][axis] + corrected[axis] * R[i][2];
      const double l = a[0] * image.X + a[1] * image.Y + a[2] * image.Z;
      for (size_t i = 0; i < 3; ++i) {
        for (size_t j = 0; j < 3; ++j) N[i][j] += weight * a[i] * a[j];
        W[i] += weight * a[i] * l;
      }
    }
  }
  Vector3 P{};
  for (size_t i = 0; i < 3; ++i) {
    Matrix3 replaced = N;
    for (size_t j = 0; j < 3; ++j) replaced[j][i] = W[j];
    P[i] = Determinant(replaced) / Determinant(N);
  }
  return P;
}

std::array<double, 2> SlowListingResidual(const ImagePointRecord& point, const EopRecord& image,
                                          const IopRecord& camera, const Vector3& P) {
  const Vector3 b = SlowCameraFrame(image, P);
  const float xx = point.x * point.x, yy = point.y * point.y;
  const float sum = xx + yy;
  const double r2 = sum;
  const double D = camera.fK1 * r2 + camera.fK2 * r2 * r2;
  const double u = point.x - camera.fPrincipalX, v = point.y - camera.fPrincipalY;
  return {u * (1 - D) + camera.fFocal * b[0] / b[2], v * (1 - D) + camera.fFocal * b[1] / b[2]};
}

}  // namespace orvo::test
