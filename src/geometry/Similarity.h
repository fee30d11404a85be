// Spatial similarity between two sets of points: estimation, and its application to positions and rotations.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace orvo {

/// X, Y, Z of one point in object units.
using Position = std::array<double, 3>;

/// Places in a block of seven parameters. A point p of the source frame goes to
///   lambda R q (p - c) + T + d,  q = target size / source size,
/// with c and d the centroids of the two sets and a size the root of the mean squared distance from them.
enum SevenParameterIndex {
  SevenTranslation = 0,      ///< T, three
  SevenScale = 3,            ///< lambda
  SevenAngles = 4,           ///< phi, omega, kappa of R, radians
  SevenSourceCentroid = 7,   ///< c, three
  SevenTargetCentroid = 10,  ///< d, three
  SevenSourceSize = 13,
  SevenTargetSize = 14,
  SevenParameterNum = 16  ///< slots; the last is not used
};

/// Estimates the parameters from pairs source[i] -> target[i] by Gauss-Newton from the T, lambda and angles
/// that `parameters` (16 slots) holds, and stores the result there. All pairs weigh the same.
///
/// Returns 1 when a correction of at most 1e-5 (target units, scale and radians alike) came before iteration
/// 20; 0 when it did not, when the pairs do not determine the seven unknowns (fewer than three, coincident,
/// collinear), when a value is not finite, or when the solution is a mirror image (lambda not positive).
int SolveSevenParameters(std::span<const Position> source, std::span<const Position> target,
                         double* parameters);

/// SolveSevenParameters from kappa 0, 45, ... 315 degrees in turn, up to the first that returns 1. Returns
/// its 1, or 0 after eight failures; `parameters` then holds what the last start left.
int SolveSevenParametersFromAnyKappa(std::span<const Position> source, std::span<const Position> target,
                                     double* parameters);

/// True when the parameters come from a solve; all-zero slots hold no transform.
bool HoldsTransform(const double* parameters);

/// result[i] = source[i] in the target frame; the two may be the same array. Returns 1.
int TransformPoints(std::span<const Position> source, const double* parameters, std::span<Position> result);

/// Turns the rotation of an image, given and handed back as its angles in radians, with the block. Returns 1.
int RotateEop(const double* parameters, double& phi, double& omega, double& kappa);

}  // namespace orvo
