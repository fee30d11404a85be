// Rotation matrix of an image and its angles.
#pragma once

namespace orvo {

/// R = R_phi R_omega R_kappa about Y, X and Z, row-major; its transpose carries object differences into the
/// camera frame. Angles in radians. Returns 1.
int ComputeRotationMatrix(double phi, double omega, double kappa, double* R);

/// The angles of a rotation matrix; omega comes back within plus or minus 90 degrees.
void ComputeAngles(const double* R, double& phi, double& omega, double& kappa);

}  // namespace orvo
