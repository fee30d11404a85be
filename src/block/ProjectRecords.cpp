#include "block/ProjectRecords.h"

#include <algorithm>
#include <cmath>

namespace orvo {
namespace {

double OrZero(double value) { return std::isfinite(value) ? value : 0.0; }

/// A matrix written with few digits may hold an element just above 1.
double Omega(double b3) {
  constexpr double kRounding = 1e-6;
  return std::asin(std::abs(b3) <= 1.0 + kRounding ? std::clamp(-b3, -1.0, 1.0) : -b3);
}

}  // namespace

bool MakeIop(const CameraLine& camera, double imageScale, IopRecord& iop) {
  if (!(camera.fFocal > 0.0 && camera.fFocal <= 1e6)) return false;
  IopRecord made;
  made.nImageWidth = camera.nImageWidth;
  made.nImageHeight = camera.nImageHeight;
  made.fFocal = camera.fFocal * imageScale;
  made.fPrincipalX = camera.fPrincipalX * imageScale;
  made.fPrincipalY = camera.fPrincipalY * imageScale;
  const double scale2 = imageScale * imageScale;
  if (std::abs(camera.fK1) <= 1e-5) made.fK1 = OrZero(camera.fK1 / scale2);
  if (std::abs(camera.fK2) <= 1e-11) made.fK2 = OrZero(camera.fK2 / (scale2 * scale2));
  made.Further = Scaled(camera.Further, imageScale);
  if (!made.Further.IsFinite()) made.Further = {};
  if (!std::isfinite(made.fFocal) || !std::isfinite(made.fPrincipalX) || !std::isfinite(made.fPrincipalY)) {
    return false;
  }
  iop = made;
  return true;
}

bool MakeEop(const ImageBlock& image, double objectScale, EopRecord& eop) {
  const double* r = image.dRotation;
  EopRecord made;
  made.X = image.X * objectScale;
  made.Y = image.Y * objectScale;
  made.Z = image.Z * objectScale;
  made.fPhi = std::atan2(-r[2], r[8]);
  made.fOmega = Omega(r[5]);
  made.fKappa = std::atan2(r[3], r[4]);
  const auto finite = [](double value) { return std::isfinite(value); };
  const double position[] = {made.X, made.Y, made.Z, made.fOmega};
  if (!std::all_of(r, r + 9, finite) || !std::all_of(position, position + 4, finite)) return false;
  eop = made;
  return true;
}

}  // namespace orvo
