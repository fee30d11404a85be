#include "peer/CollinearityCost.h"

#include <cmath>

#include "geometry/camera/Rotation.h"

namespace orvo::peer {

Frame MakeFrame(const double* image) {
  double R[9];
  ComputeRotationMatrix(image[3], image[4], image[5], R);
  Frame frame;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) frame.T[3 * i + j] = R[3 * j + i];
  }
  for (int i = 0; i < 3; ++i) frame.PhiAxis[i] = R[3 + i];
  frame.fCosKappa = std::cos(image[5]);
  frame.fSinKappa = std::sin(image[5]);
  return frame;
}

FrameTable::FrameTable(std::vector<const double*> images) : Images(std::move(images)), Frames(Images.size()) {
  PrepareForEvaluation(false, true);
}

void FrameTable::PrepareForEvaluation(bool /*evaluateJacobians*/, bool newPoint) {
  if (!newPoint) return;
  for (size_t i = 0; i < Images.size(); ++i) Frames[i] = MakeFrame(Images[i]);
}

void EvaluateCollinearity(const Frame& frame, const double* position, const CameraView& camera,
                          const double* P, double x, double y, double s, double* residual, double* byImage,
                          int imageStride, double* byCamera, int cameraStride, double* byPoint) {
  const double* T = frame.T;
  const double d[3] = {P[0] - position[0], P[1] - position[1], P[2] - position[2]};
  const double X = T[0] * d[0] + T[1] * d[1] + T[2] * d[2];
  const double Y = T[3] * d[0] + T[4] * d[1] + T[5] * d[2];
  const double Z = T[6] * d[0] + T[7] * d[1] + T[8] * d[2];
  const double inverse = 1 / Z;
  const double px = X * inverse, py = Y * inverse;
  const double u = x - camera.x0, v = y - camera.y0;
  const double r2 = u * u + v * v;
  const double D = (camera.k1 + camera.k2 * r2) * r2;
  residual[0] = s * (camera.f * px + u - u * D);
  residual[1] = s * (camera.f * py + v - v * D);
  if (byImage == nullptr && byCamera == nullptr && byPoint == nullptr) return;

  // By the point in the camera frame: fz (1, 0, -px) and fz (0, 1, -py).
  const double fz = s * camera.f * inverse;
  if (byImage != nullptr || byPoint != nullptr) {
    double byX[3], byY[3];
    for (int k = 0; k < 3; ++k) {
      byX[k] = fz * (T[k] - px * T[6 + k]);
      byY[k] = fz * (T[3 + k] - py * T[6 + k]);
    }
    if (byPoint != nullptr) {
      for (int k = 0; k < 3; ++k) {
        byPoint[k] = byX[k];
        byPoint[3 + k] = byY[k];
      }
    }
    if (byImage != nullptr) {
      double* a = byImage;
      double* b = byImage + imageStride;
      for (int k = 0; k < 3; ++k) {
        a[k] = -byX[k];
        b[k] = -byY[k];
      }
      // phi turns the point about its axis, omega and kappa the other way round about theirs.
      const double* e = frame.PhiAxis;
      const double phi[3] = {e[1] * Z - e[2] * Y, e[2] * X - e[0] * Z, e[0] * Y - e[1] * X};
      const double c = frame.fCosKappa, n = frame.fSinKappa;
      const double omega[3] = {n * Z, c * Z, -(c * Y + n * X)};
      a[3] = fz * (phi[0] - px * phi[2]);
      b[3] = fz * (phi[1] - py * phi[2]);
      a[4] = fz * (omega[0] - px * omega[2]);
      b[4] = fz * (omega[1] - py * omega[2]);
      a[5] = fz * Y;
      b[5] = -fz * X;
    }
  }
  if (byCamera != nullptr) {
    double* a = byCamera;
    double* b = byCamera + cameraStride;
    // The derivative of u (1 - D) by u is 1 - D - 2 u u D', with D' that by r2.
    const double slope = 2 * (camera.k1 + 2 * camera.k2 * r2);
    a[0] = s * px;
    b[0] = s * py;
    a[1] = -s * (1 - D - u * u * slope);
    b[1] = s * u * v * slope;
    a[2] = s * u * v * slope;
    b[2] = -s * (1 - D - v * v * slope);
    a[3] = -s * u * r2;
    b[3] = -s * v * r2;
    a[4] = -s * u * r2 * r2;
    b[4] = -s * v * r2 * r2;
  }
}

void GrossRule::Evaluate(double square, double* rho) const {
  constexpr double kGrossWeight = 1e-6;
  const bool gross = IsGross(square);
  rho[0] = gross ? fSquare + kGrossWeight * (square - fSquare) : square;
  rho[1] = gross ? kGrossWeight : 1;
  rho[2] = 0;
}

}  // namespace orvo::peer
