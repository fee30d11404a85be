// Frame camera with distortion, in file units (pixels).
#pragma once

#include <optional>
#include <vector>

#include "synthetic/SyntheticOptions.h"

namespace orvo {

struct SyntheticCamera {
  double fFocal = 0, fPrincipalX = 0, fPrincipalY = 0;
  /// With u = x - fPrincipalX, v = y - fPrincipalY and r2 = u u + v v, the corrected coordinates are u (1 -
  /// D) and v (1 - D), D = k1 r2 + k2 r2 r2.
  double fK1 = 0, fK2 = 0;
  /// Taken off them besides: u k3 r2^3 + p1 (r2 + 2 u u) + 2 p2 u v + b1 u + b2 v from the first, v k3 r2^3 +
  /// p2 (r2 + 2 v v) + 2 p1 u v from the second.
  double fK3 = 0, fP1 = 0, fP2 = 0, fB1 = 0, fB2 = 0;

  bool HasFurtherTerms() const { return fK3 != 0 || fP1 != 0 || fP2 != 0 || fB1 != 0 || fB2 != 0; }
};

/// True position and rotation of an image. R is row-major and its transpose carries object differences into
/// the camera frame; angles in radians.
struct SyntheticImage {
  int32_t nId = 0;      ///< as in the project file, not the ordinal
  int32_t nCamera = 0;  ///< ordinal
  int32_t nStrip = 0;   ///< ordinal of its strip; the strip ID of the POS file is one more
  double fTime = 0;     ///< flight time along the strip, seconds
  double X = 0, Y = 0, Z = 0;
  double fPhi = 0, fOmega = 0, fKappa = 0;
  double R[9] = {};
};

/// R = R_phi R_omega R_kappa, about Y, X and Z.
void SyntheticRotation(double phi, double omega, double kappa, double* R);

/// The radius r at which r (1 - k1 r^2 - k2 r^4) is `corrected`, by Newton iteration.
double DistortRadius(const SyntheticCamera& camera, double corrected);

/// A camera and the field in which its distortion is one to one.
class SyntheticProjector {
 public:
  SyntheticProjector(const SyntheticCamera& camera, int32_t width, int32_t height);

  struct Position {
    double x, y;
  };
  /// The measurement of an object point without error; nothing when the point lies behind the image or
  /// outside its extent.
  std::optional<Position> Project(const SyntheticImage& image, double X, double Y, double Z) const;
  bool IsInside(double x, double y) const {
    return x >= -fHalfWidth && x <= fHalfWidth && y >= -fHalfHeight && y <= fHalfHeight;
  }

 private:
  /// Off the principal point: the measurement of what is corrected to (xc, yc), by putting it right until it
  /// is.
  Position Distort(double xc, double yc) const;

  SyntheticCamera Camera;
  double fHalfWidth, fHalfHeight;
  double fMaxCorrected2;  ///< squared corrected radius of the farthest corner
};

/// One camera for each strip in turn, or for each image. The first of several is no better than the others: f
/// spreads by fCameraSpread, the principal point by 2000 times that in pixels (x and y by the same amount, so
/// that equal ones stay equal), k1 and k2 by 50 times that and a tenth at most.
std::vector<SyntheticCamera> MakeCameras(const SyntheticOptions& options, int32_t count);

}  // namespace orvo
