// Image residuals of the point listings.
#pragma once

#include "records/Records.h"

namespace orvo {

/// Computed plus corrected measurement, working image units.
struct ImageResidual {
  double x = 0, y = 0;
};

/// Residual of the measurement (x, y) of the object point P (X, Y, Z) on an image with rotation R
/// (row-major): (Xb, Yb, Zb) = R' (P - S), v = (m - m0) - (m - m0) D + f (Xb, Yb) / Zb, D = k2 r^4 + k1 r^2.
/// r^2 is deliberately not that of the camera model: it leaves the principal point out and is formed in
/// single precision, as the listings have always had it.
inline ImageResidual ComputeListingResidual(const double* R, const EopRecord& eop, const IopRecord& iop,
                                            float x, float y, const double* P) {
  const double dX = P[0] - eop.X, dY = P[1] - eop.Y, dZ = P[2] - eop.Z;
  const double Xb = R[0] * dX + R[3] * dY + R[6] * dZ;
  const double Yb = R[1] * dX + R[4] * dY + R[7] * dZ;
  const double Zb = R[2] * dX + R[5] * dY + R[8] * dZ;
  const float narrow = x * x + y * y;
  const auto r2 = static_cast<double>(narrow);
  const double D = iop.fK2 * r2 * r2 + iop.fK1 * r2;
  const double u = x - iop.fPrincipalX, v = y - iop.fPrincipalY;
  return {u - u * D + iop.fFocal * Xb / Zb, v - v * D + iop.fFocal * Yb / Zb};
}

}  // namespace orvo
