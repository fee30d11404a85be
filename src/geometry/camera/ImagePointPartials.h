// Observation equations of one measurement: misclosure and partial derivatives of the collinearity equations.
#pragma once

#include "records/Records.h"

namespace orvo {

/// An image's orientation, with what every measurement on it needs: R row-major, sines and cosines. `T` is a
/// number, or a vector of numbers of several images.
template <class T>
struct ImageTermsOf {
  T R[9];
  T X, Y, Z;
  T fSinOmega, fCosOmega, fSinKappa, fCosKappa;
};
struct alignas(64) ImageTerms : ImageTermsOf<double> {};

/// A camera and the reciprocal of its focal length.
template <class T>
struct CameraTermsOf {
  T f, x0, y0, k1, k2, fInverseFocal;
};
struct alignas(64) CameraTerms : CameraTermsOf<double> {};

/// The rows of one measurement, for x and for y. The partial derivatives by the object point are minus the
/// first three columns of B.
template <class T>
struct PartialRows {
  T B[2][6];  ///< by X, Y, Z, phi, omega, kappa of the image
  T A[2][5];  ///< by f, x0, y0, k1, k2 of the camera
  T L[2];     ///< the misclosure in working image units
};

ImageTerms MakeImageTerms(const EopRecord& eop);
CameraTerms MakeCameraTerms(const IopRecord& iop);

/// With (Xr, Yr, Zr) the point in the camera frame and (xc, yc) the corrected measurement, L = f Xr / Zr + xc
/// and f Yr / Zr + yc. The columns of x0 and y0 leave out the derivative of the distortion. Without meaning
/// for a point in the plane through the projection centre, where Zr is 0: L is not finite there. Always
/// inlined, as it is compiled for several instruction sets. Gives Zr.
template <class T>
[[gnu::always_inline]] inline T LinearizeImagePoint(const T& x, const T& y, const T& X, const T& Y,
                                                    const T& Z, const ImageTermsOf<T>& image,
                                                    const CameraTermsOf<T>& camera, PartialRows<T>& out) {
  const T* R = image.R;
  const T dX = X - image.X, dY = Y - image.Y, dZ = Z - image.Z;
  const T Xr = R[0] * dX + R[3] * dY + R[6] * dZ;
  const T Yr = R[1] * dX + R[4] * dY + R[7] * dZ;
  const T Zr = R[2] * dX + R[5] * dY + R[8] * dZ;

  const T f = camera.f;
  const T u = x - camera.x0, v = y - camera.y0;
  const T r2 = u * u + v * v;
  const T d = (camera.k1 + camera.k2 * r2) * r2;
  const T xc = u - u * d, yc = v - v * d;
  const T inverseZr = 1.0 / Zr;
  out.L[0] = f * Xr * inverseZr + xc;
  out.L[1] = f * Yr * inverseZr + yc;

  const T fz = f * inverseZr, xz = xc * inverseZr, yz = yc * inverseZr;
  for (int k = 0; k < 3; ++k) {
    out.B[0][k] = R[3 * k] * fz + R[3 * k + 2] * xz;
    out.B[1][k] = R[3 * k + 1] * fz + R[3 * k + 2] * yz;
  }
  const T xf = xc * camera.fInverseFocal, yf = yc * camera.fInverseFocal;
  const T sinOmega = image.fSinOmega, cosOmega = image.fCosOmega;
  const T sinKappa = image.fSinKappa, cosKappa = image.fCosKappa;
  const T along = cosKappa * xc - sinKappa * yc, across = sinKappa * xc + cosKappa * yc;
  out.B[0][3] = sinOmega * yc - (along * xf + cosKappa * f) * cosOmega;
  out.B[0][4] = -sinKappa * f - across * xf;
  out.B[0][5] = yc;
  out.B[1][3] = -sinOmega * xc - (along * yf - sinKappa * f) * cosOmega;
  out.B[1][4] = -cosKappa * f - across * yf;
  out.B[1][5] = -xc;

  const T zero = T{};
  out.A[0][0] = xf;
  out.A[0][1] = zero + 1.0;
  out.A[0][2] = zero;
  out.A[0][3] = u * r2;
  out.A[0][4] = u * r2 * r2;
  out.A[1][0] = yf;
  out.A[1][1] = zero;
  out.A[1][2] = zero + 1.0;
  out.A[1][3] = v * r2;
  out.A[1][4] = v * r2 * r2;
  return Zr;
}

/// False for a measurement that is left out: its point stands in the plane through the projection centre,
/// where it has no equation, or has left all bounds and would spoil every unknown.
inline constexpr double kLargestBound = 1e200;
template <class T>
[[gnu::always_inline]] inline T BoundOfRows(const PartialRows<T>& rows) {
  return rows.L[0] * rows.L[0] + rows.L[1] * rows.L[1] + rows.B[0][0] * rows.B[0][0] +
         rows.B[1][1] * rows.B[1][1];
}
inline bool IsBoundedRow(const PartialRows<double>& rows) { return BoundOfRows(rows) < kLargestBound; }

/// The same from the records, into row-major arrays: outEop 2 by 6, outIop 2 by 5, outObject 2 by 3 and
/// outResidual 2. Returns 1, or 0 with nothing written where Zr is exactly 0.
int ComputeImagePointPartials(const ImagePointRecord& imagePoint, const ObjectPointRecord& objectPoint,
                              const EopRecord& eop, const IopRecord& iop, double* outEop, double* outIop,
                              double* outObject, double* outResidual);

}  // namespace orvo
