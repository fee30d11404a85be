// Rotations as small unknowns: the rotation vector w turns by |w| radians about w / |w|.
// R is the rotation of an image as everywhere here: row-major, R' carries object differences into the camera
// frame. An unknown rotation of it stands on its right, in the camera frame: R exp([w]x). So the unknowns
// know no singular tilt and no direction of the object frame. Formulas: Förstner and Wrobel, Photogrammetric
// Computer Vision (2016), 8.1; Solà, Deray and Atchuthan, A micro Lie theory for state estimation in robotics
// (2018), section 7 and appendix B; the way from the matrix to the vector by Shepperd, Quaternion from
// rotation matrix, J. Guidance and Control 1 (1978).
#pragma once

#include "rigorous/SmallMatrix.h"

namespace orvo::rigorous {

/// exp([w]x), by Rodrigues; to the last digits for every finite w, tiny ones and 0 among them.
Matrix3 RotationOfVector(const Vector3& w);

/// The vector with |w| <= pi of a rotation matrix: to the last digits near 0 and near pi. At pi itself w or
/// -w.
Vector3 VectorOfRotation(const Matrix3& R);

/// The vector of exp([a]x) exp([b]x), |w| <= pi. Keeps the relative precision of tiny vectors.
Vector3 ComposedVector(const Vector3& a, const Vector3& b);

/// R exp([w]x), orthonormal to the last digits however often it is updated.
Matrix3 RotationUpdatedBy(const Matrix3& R, const Vector3& w);

/// The right Jacobian J of the exponential: exp([w + dw]x) = exp([w]x) exp([J dw]x) to first order.
Matrix3 RightJacobian(const Vector3& w);

/// Its inverse, |w| < 2 pi. That of the left Jacobian is its transpose.
Matrix3 InverseRightJacobian(const Vector3& w);

/// Rotation of an image by the angles of the project, radians.
Matrix3 RotationOfAngles(const Vector3& phiOmegaKappa);

/// phi, omega, kappa of a rotation; omega within plus or minus 90 degrees.
Vector3 AnglesOfRotation(const Matrix3& R);

/// T with w = T (dphi, domega, dkappa): the rotation vector on the right of R that changes of the angles
/// make. Carries angles' standard deviations into those of the rotation vector, and by its inverse back.
/// Singular at omega of plus or minus 90 degrees.
Matrix3 VectorByAngles(const Vector3& phiOmegaKappa);

}  // namespace orvo::rigorous
