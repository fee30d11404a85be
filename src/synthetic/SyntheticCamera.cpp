#include "synthetic/SyntheticCamera.h"

#include <algorithm>
#include <cmath>

#include "synthetic/CounterRandom.h"

namespace orvo {

void SyntheticRotation(double phi, double omega, double kappa, double* R) {
  const auto [sp, cp] = PortableSineCosine(phi);
  const auto [so, co] = PortableSineCosine(omega);
  const auto [sk, ck] = PortableSineCosine(kappa);
  R[0] = cp * ck - sp * so * sk;
  R[1] = -cp * sk - sp * so * ck;
  R[2] = -sp * co;
  R[3] = co * sk;
  R[4] = co * ck;
  R[5] = -so;
  R[6] = sp * ck + cp * so * sk;
  R[7] = -sp * sk + cp * so * ck;
  R[8] = cp * co;
}

double DistortRadius(const SyntheticCamera& camera, double corrected) {
  double r = corrected;
  for (int i = 0; i < 20; ++i) {
    const double q = r * r;
    const double f = r * (1 - q * (camera.fK1 + q * camera.fK2)) - corrected;
    const double slope = 1 - q * (3 * camera.fK1 + 5 * q * camera.fK2);
    const double step = f / slope;
    r -= step;
    if (std::fabs(step) <= 1e-13 * r) break;
  }
  return r;
}

SyntheticProjector::SyntheticProjector(const SyntheticCamera& camera, int32_t width, int32_t height)
    : Camera(camera), fHalfWidth(width / 2), fHalfHeight(height / 2) {
  // Whole pixels as the readers see them: they take a coordinate beyond width / 2 for a wider image.
  const double u = fHalfWidth + std::fabs(camera.fPrincipalX);
  const double v = fHalfHeight + std::fabs(camera.fPrincipalY);
  const double q = u * u + v * v;
  const double factor = 1 - q * (camera.fK1 + q * camera.fK2);
  fMaxCorrected2 = q * factor * factor;
  if (!camera.HasFurtherTerms()) return;
  const double r = std::sqrt(q);
  const double further = std::fabs(camera.fK3) * q * q * q +
                         4 * r * (std::fabs(camera.fP1) + std::fabs(camera.fP2)) + std::fabs(camera.fB1) +
                         std::fabs(camera.fB2);
  fMaxCorrected2 = q * (std::fabs(factor) + further) * (std::fabs(factor) + further);
}

SyntheticProjector::Position SyntheticProjector::Distort(double xc, double yc) const {
  double u = xc, v = yc;
  for (int i = 0; i < 400; ++i) {
    const double q = u * u + v * v;
    const double D = q * (Camera.fK1 + q * (Camera.fK2 + q * Camera.fK3));
    const double cu =
        u - u * D - Camera.fP1 * (q + 2 * u * u) - 2 * Camera.fP2 * u * v - Camera.fB1 * u - Camera.fB2 * v;
    const double cv = v - v * D - Camera.fP2 * (q + 2 * v * v) - 2 * Camera.fP1 * u * v;
    const double du = xc - cu, dv = yc - cv;
    u += du;
    v += dv;
    if (std::fabs(du) + std::fabs(dv) <= 1e-12 * (std::fabs(xc) + std::fabs(yc) + 1)) break;
  }
  return {u, v};
}

std::optional<SyntheticProjector::Position> SyntheticProjector::Project(const SyntheticImage& image, double X,
                                                                        double Y, double Z) const {
  const double dX = X - image.X, dY = Y - image.Y, dZ = Z - image.Z;
  const double* R = image.R;
  const double Zb = R[2] * dX + R[5] * dY + R[8] * dZ;
  if (!(Zb < 0)) return std::nullopt;
  const double factor = -Camera.fFocal / Zb;
  const double xc = factor * (R[0] * dX + R[3] * dY + R[6] * dZ);
  const double yc = factor * (R[1] * dX + R[4] * dY + R[7] * dZ);
  const double corrected2 = xc * xc + yc * yc;
  if (corrected2 > fMaxCorrected2) return std::nullopt;
  if (Camera.HasFurtherTerms()) {
    const Position off = Distort(xc, yc);
    const double x = Camera.fPrincipalX + off.x, y = Camera.fPrincipalY + off.y;
    if (!IsInside(x, y)) return std::nullopt;
    return Position{x, y};
  }
  double scale = 1;
  if ((Camera.fK1 != 0 || Camera.fK2 != 0) && corrected2 > 0) {
    const double corrected = std::sqrt(corrected2);
    scale = DistortRadius(Camera, corrected) / corrected;
  }
  const double x = Camera.fPrincipalX + xc * scale, y = Camera.fPrincipalY + yc * scale;
  if (!IsInside(x, y)) return std::nullopt;
  return Position{x, y};
}

std::vector<SyntheticCamera> MakeCameras(const SyntheticOptions& options, int32_t count) {
  const SyntheticCamera common = {options.fFocal, options.fPrincipalX, options.fPrincipalY, options.fK1,
                                  options.fK2,    options.fK3,         options.fP1,         options.fP2,
                                  options.fB1,    options.fB2};
  std::vector<SyntheticCamera> cameras(static_cast<size_t>(count), common);
  if (count == 1) return cameras;
  for (int32_t i = 0; i < count; ++i) {
    CounterRandom random(options.nSeed, RandomStream::Camera, i);
    SyntheticCamera& camera = cameras[static_cast<size_t>(i)];
    const double spread = options.fCameraSpread;
    camera.fFocal *= 1 + spread * random.Normal(4);
    const double shift = 2000 * spread * random.Normal(4);
    camera.fPrincipalX += shift;
    camera.fPrincipalY += shift;
    camera.fK1 *= 1 + std::min(50 * spread, 0.1) * random.Normal(4);
    camera.fK2 *= 1 + std::min(50 * spread, 0.1) * random.Normal(4);
  }
  return cameras;
}

}  // namespace orvo
