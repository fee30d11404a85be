// The camera model: from a measurement to the corrected image coordinates, and the collinearity equations.
// All lengths of camera and image are in working image units (file units times Image_Coor_Scale).
//
// It stands in several forms, which are not merged: they differ on purpose, in what they give or in what they
// cost. With u, v the measurement off the principal point, D = k1 r2 + k2 r2 r2 and r2 = u u + v v, a
// measurement is corrected to u - u D, v - v D; R' carries object differences into the camera frame.
//
//   form                                used by                    differs in
//   CorrectMeasurement,                 the verdict's residuals    nothing: the model as it is written
//     ComputeImageResidual (here)
//   CorrectForIntersection (here)       the space intersection     the factor on D in y is y - x0: as results
//                                                                  have always had it
//   ComputeListingResidual              listings and report        r2 = x x + y y in single precision,
//     (ListingResidual.h)                                          without the principal point: likewise
//   LinearizeImagePoint                 the assembly on the        partials with the misclosure; over a
//     (ImagePointPartials.h)            processor                  number or a register of them
//   ObserveRay, AllColumns              the literal kernels, and   single precision; compiled for the device
//     (DeviceRay.h)                     residuals of the fast ones too
//   FastRay                             the fast kernels           partials as K J in the image's own frame,
//     (gpu/kernels/fast/FastRay.h)                                 so that no ray needs an angle; stands with
//                                                                  the sums that it is made for
//   SyntheticProjector                  generated blocks           the way back, from the point to the
//     (synthetic/SyntheticCamera.h)                                measurement; shares no code with what its
//                                                                  blocks are to test
//   LinearizeRay                        the rigorous adjustment    more terms of distortion; residuals in the
//     (rigorous/RayModel.h)                                        measured image too; rotation vectors for
//                                                                  angles; all derivatives are complete
//
// The partials leave out the derivative of the distortion by the principal point, in every form that has
// them but the last.
#pragma once

#include "records/Records.h"

namespace orvo {

struct ImageCoordinates {
  double x, y;
};

/// Radial distortion at r2 = u^2 + v^2 off the principal point: D = k1 r2 + k2 r2^2, to be subtracted.
inline double RadialDistortion(double k1, double k2, double r2) { return k1 * r2 + k2 * (r2 * r2); }

/// Corrected coordinates of the observation equations: with u = x - x0, v = y - y0 these are u - u D, v - v
/// D.
inline ImageCoordinates CorrectMeasurement(const IopRecord& iop, double x, double y) {
  const double u = x - iop.fPrincipalX, v = y - iop.fPrincipalY;
  const double D = RadialDistortion(iop.fK1, iop.fK2, u * u + v * v);
  if (!iop.bStrict) return {u - u * D, v - v * D};
  const LensShift further = FurtherCorrection(iop.Further, u, v);
  return {u - u * D + further.x, v - v * D + further.y};
}

/// Corrected coordinates of the space intersection.
/// The factor on D in y is y less the principal point's *x*. Deliberate, although intersection and
/// observation equations then agree for x0 = y0 only. A strict camera knows no such difference.
inline ImageCoordinates CorrectForIntersection(const IopRecord& iop, double x, double y) {
  if (iop.bStrict) return CorrectMeasurement(iop, x, y);
  const double u = x - iop.fPrincipalX, v = y - iop.fPrincipalY;
  const double D = RadialDistortion(iop.fK1, iop.fK2, u * u + v * v);
  return {u - u * D, v - (y - iop.fPrincipalX) * D};
}

/// The object difference dP in the camera frame: R' dP, for the row-major rotation matrix R of the image.
inline void ToCameraFrame(const double* R, const double* dP, double* inCamera) {
  for (int i = 0; i < 3; ++i) inCamera[i] = R[i] * dP[0] + R[3 + i] * dP[1] + R[6 + i] * dP[2];
}

/// Residual of a measurement with corrected coordinates `corrected`: computed plus corrected,
///   vx = f Xb / Zb + xc,  vy = f Yb / Zb + yc,
/// for the point at `inCamera` = (Xb, Yb, Zb) in the camera frame, Zb not 0.
inline ImageCoordinates ComputeImageResidual(double f, const double* inCamera,
                                             const ImageCoordinates& corrected) {
  return {f * inCamera[0] / inCamera[2] + corrected.x, f * inCamera[1] / inCamera[2] + corrected.y};
}

}  // namespace orvo
