// The observations of position (GPS) and attitude (IMU) of an image: residuals and derivatives.
//   position of the antenna     S + R a + c + t l
//   attitude of the IMU         R B exp([c + t l]x)
// with the image's centre S and rotation R, the lever arm a from the projection centre to the antenna in the
// camera frame, and the boresight rotation B that carries the axes of the IMU into the camera frame. c and l
// are a strip's constant and linear drift at the time t: of the position in the object frame, of the attitude
// as rotation vectors in the frame of the IMU. For one strip alone its constant and the lever arm or
// boresight are the same unknown up to the turns of its images. Residuals are observed less predicted; that
// of the attitude is the rotation vector from the predicted to the observed attitude, in the frame of the
// IMU, so that no tilt is singular. Rotations on the right, and their Jacobians: rigorous/RotationVector.h.
// The model: Bäumker and Heimes, New calibration and computing method for direct georeferencing of image and
// scanner data using the position and angular data of an hybrid inertial navigation system, OEEPE Official
// Publication 43 (2001). Lengths are in object units, angles in radians, times in those of the drift.
#pragma once

#include "rigorous/RayModel.h"
#include "rigorous/SmallMatrix.h"

namespace orvo::rigorous {

/// A strip's drift of one of the two observations.
struct StripDrift {
  Vector3 Constant{}, Linear{};  ///< linear: by the unit of time
};

/// Residual of the antenna's position. All matrices are derivatives of it: row-major, row by component.
struct GpsRows {
  Vector3 Residual;
  Matrix3 ByCentre;    ///< minus the unit matrix
  Matrix3 ByRotation;  ///< by w of R exp([w]x)
  Matrix3 ByLeverArm;
  Matrix3 ByConstant;
  Matrix3 ByLinear;
};

/// Residual of the attitude, and its derivatives. The centre has no part in it.
struct ImuRows {
  Vector3 Residual;
  Matrix3 ByRotation;   ///< by w of R exp([w]x)
  Matrix3 ByBoresight;  ///< by w of B exp([w]x)
  Matrix3 ByConstant;
  Matrix3 ByLinear;
};

/// False, with nothing written, where a number would not be finite.
bool LinearizeGps(const ImagePose& pose, const Vector3& leverArm, const StripDrift& drift, double time,
                  const Vector3& observed, GpsRows& rows);

/// `observed` is the rotation matrix of the attitude (RotationOfAngles for angles of the project). False,
/// with nothing written, where a number would not be finite. Where observed and predicted attitude differ by
/// half a turn the residual is one of two.
bool LinearizeImu(const ImagePose& pose, const Matrix3& boresight, const StripDrift& drift, double time,
                  const Matrix3& observed, ImuRows& rows);

}  // namespace orvo::rigorous
