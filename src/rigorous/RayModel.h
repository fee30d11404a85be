// The observation equations of one measurement: residual and derivatives by image, camera and point.
// With Xc = R' (P - S) in the camera frame, the pinhole image is q = -f (Xc, Yc) / Zc; the camera looks along
// -Z, so Zc < 0 in front of it. Collinearity: Kraus, Photogrammetry (2007), 4.1; derivatives by the implicit
// function as for any condition between observations and unknowns: Mikhail and Ackermann, Observations and
// Least Squares (1976), chapter 9.
#pragma once

#include <cstdint>

#include "rigorous/LensModel.h"
#include "rigorous/SmallMatrix.h"

namespace orvo::rigorous {

/// Orientation of an image: projection centre, and the rotation whose transpose carries object differences
/// into the camera frame.
struct ImagePose {
  Vector3 Centre;
  Matrix3 R;
};

/// Where residuals are formed. In both, measured less predicted, so that
/// corrected = (I + dd/dx) measured to first order, and both are equal without distortion.
enum class ResidualForm : uint8_t {
  Measured,  ///< v with q = (m - v) + d(m - v): in the image as it was measured, where its errors are alike
  Corrected  ///< m + d(m) - q: in the image free of distortion, stretched by the correction
};

enum class RayStatus : uint8_t {
  Good,
  Behind,    ///< the point is behind the camera, or within 1e-12 radians of the plane through its centre
  Folded,    ///< the prediction has no place in the measured image
  NotFinite  ///< a number that goes in, or would come out, is none
};

/// Residual and rows of x (0) and y (1). Unit: that of the measurement, by units of the unknowns.
struct RayRows {
  Vector2 Residual;
  double Image[2][6];                   ///< by X, Y, Z of the centre and by w of R exp([w]x)
  double Camera[2][kLensParameterNum];  ///< by the unknowns of the layout, in its order; the rest is 0
  double Point[2][3];                   ///< by X, Y, Z of the point
};

/// Pinhole coordinates with their derivatives.
struct PinholeRows {
  Vector2 Pinhole;
  double Image[2][6];
  double Focal[2];
  double Point[2][3];
};

/// All functions below write nothing but where they say Good.

/// The pinhole image of `point`, off the principal point. Good, Behind or NotFinite.
RayStatus PinholeOf(const ImagePose& pose, double f, const Vector3& point, Vector2& pinhole);
RayStatus LinearizePinhole(const ImagePose& pose, double f, const Vector3& point, PinholeRows& rows);

/// Where `point` is measured, by the inverse of the correction.
RayStatus PredictMeasured(const ImagePose& pose, const Lens& lens, const Vector3& point, Vector2& measured);

/// The residual alone.
RayStatus ResidualOfRay(const ImagePose& pose, const Lens& lens, const Vector3& point,
                        const Vector2& measured, ResidualForm form, Vector2& residual);

/// The residual and its derivatives. In the measured form they are those at the predicted place m - v, found
/// by Newton's method from v = 0, and exact: d(m - v) = (I + dd/dx)^-1 (dq - dd by the camera).
RayStatus LinearizeRay(const ImagePose& pose, const Lens& lens, const Vector3& point, const Vector2& measured,
                       ResidualForm form, const LensLayout& layout, RayRows& rows);

}  // namespace orvo::rigorous
