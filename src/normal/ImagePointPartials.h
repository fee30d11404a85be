// Observation equations of one measurement: misclosure and partial derivatives of the collinearity equations.
#pragma once

#include "block/Records.h"

namespace orvo {

/// An image's orientation, with what every measurement on it needs: R row-major, sines and cosines.
struct ImageTerms {
  double R[9];
  double X, Y, Z;
  double fSinOmega, fCosOmega, fSinKappa, fCosKappa;
};

/// A camera and the reciprocal of its focal length.
struct CameraTerms {
  double f, x0, y0, k1, k2, fInverseFocal;
};

/// Where the partial derivatives of one measurement go, a row for x and one for y. Those by the object point
/// are minus the first three columns of B.
struct PartialRows {
  double* B[2];  ///< 6, by X, Y, Z, phi, omega, kappa of the image
  double* A[2];  ///< 5, by f, x0, y0, k1, k2 of the camera
  double* L[2];  ///< 1, the misclosure in working image units
};

ImageTerms MakeImageTerms(const EopRecord& eop);
CameraTerms MakeCameraTerms(const IopRecord& iop);

/// With (Xr, Yr, Zr) the point in the camera frame and (xc, yc) the corrected measurement, L = f Xr / Zr + xc
/// and f Yr / Zr + yc. The columns of x0 and y0 leave out the derivative of the distortion. False, with
/// nothing written, for a point in the plane through the projection centre where Zr is exactly 0. Always
/// inlined, as it is compiled for several instruction sets.
[[gnu::always_inline]] inline bool LinearizeImagePoint(float x, float y, double X, double Y, double Z,
                                                       const ImageTerms& image, const CameraTerms& camera,
                                                       const PartialRows& out) {
  const double* R = image.R;
  const double dX = X - image.X, dY = Y - image.Y, dZ = Z - image.Z;
  const double Xr = R[0] * dX + R[3] * dY + R[6] * dZ;
  const double Yr = R[1] * dX + R[4] * dY + R[7] * dZ;
  const double Zr = R[2] * dX + R[5] * dY + R[8] * dZ;
  if (Zr == 0) return false;

  const double f = camera.f;
  const double u = static_cast<double>(x) - camera.x0, v = static_cast<double>(y) - camera.y0;
  const double r2 = u * u + v * v;
  const double d = (camera.k1 + camera.k2 * r2) * r2;
  const double xc = u - u * d, yc = v - v * d;
  const double inverseZr = 1 / Zr;
  *out.L[0] = f * Xr * inverseZr + xc;
  *out.L[1] = f * Yr * inverseZr + yc;

  const double fz = f * inverseZr, xz = xc * inverseZr, yz = yc * inverseZr;
  for (int k = 0; k < 3; ++k) {
    out.B[0][k] = R[3 * k] * fz + R[3 * k + 2] * xz;
    out.B[1][k] = R[3 * k + 1] * fz + R[3 * k + 2] * yz;
  }
  const double xf = xc * camera.fInverseFocal, yf = yc * camera.fInverseFocal;
  const double sinOmega = image.fSinOmega, cosOmega = image.fCosOmega;
  const double sinKappa = image.fSinKappa, cosKappa = image.fCosKappa;
  const double along = cosKappa * xc - sinKappa * yc, across = sinKappa * xc + cosKappa * yc;
  out.B[0][3] = sinOmega * yc - (along * xf + cosKappa * f) * cosOmega;
  out.B[0][4] = -sinKappa * f - across * xf;
  out.B[0][5] = yc;
  out.B[1][3] = -sinOmega * xc - (along * yf - sinKappa * f) * cosOmega;
  out.B[1][4] = -cosKappa * f - across * yf;
  out.B[1][5] = -xc;

  out.A[0][0] = xf;
  out.A[0][1] = 1;
  out.A[0][2] = 0;
  out.A[0][3] = u * r2;
  out.A[0][4] = u * r2 * r2;
  out.A[1][0] = yf;
  out.A[1][1] = 0;
  out.A[1][2] = 1;
  out.A[1][3] = v * r2;
  out.A[1][4] = v * r2 * r2;
  return true;
}

/// The same from the records, into row-major arrays: outEop 2 by 6, outIop 2 by 5, outObject 2 by 3 and
/// outResidual 2. Returns 1, or 0 with nothing written where Zr is exactly 0.
int ComputeImagePointPartials(const ImagePointRecord& imagePoint, const ObjectPointRecord& objectPoint,
                              const EopRecord& eop, const IopRecord& iop, double* outEop, double* outIop,
                              double* outObject, double* outResidual);

}  // namespace orvo
