// Residuals of points as they stand: measurement minus projection, nothing weighted, nothing neglected.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo::exchange {

struct ImageVector {
  double x = 0, y = 0;
};

/// Sums over residuals of any number of points.
struct ResidualSums {
  int64_t nNum = 0;
  double dSquareX = 0, dSquareY = 0;
  double dNorms = 0;

  double RmsX() const { return nNum > 0 ? std::sqrt(dSquareX / static_cast<double>(nNum)) : 0; }
  double RmsY() const { return nNum > 0 ? std::sqrt(dSquareY / static_cast<double>(nNum)) : 0; }
  /// The mean length.
  double MeanNorm() const { return nNum > 0 ? dNorms / static_cast<double>(nNum) : 0; }

  void Add(std::span<const ImageVector> residuals);
};

/// The measurement freed of principal point and distortion, image units.
ImageVector CorrectedMeasurement(const SurveyCamera& camera, double x, double y);

/// Residual of a corrected measurement: itself minus the projection of P. Not finite for a point in the plane
/// of the projection centre.
ImageVector StrictResidual(const SurveyImage& image, double focal, ImageVector corrected,
                           const std::array<double, 3>& P);

/// The point with the least sum of squared residuals over its measurements, from P as a start or where that
/// leads nowhere, from the rays. False, with P unchanged, where there is none: fewer than two rays, parallel
/// rays, images or cameras outside the block.
bool IntersectStrictly(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements,
                       std::array<double, 3>& P);

/// Residuals of measurements of a point at P, without those outside the block.
void StrictResidualsAt(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements,
                       const std::array<double, 3>& P, std::vector<ImageVector>& residuals);

/// All of a table of points of the block. Measurements outside the block are left out.
ResidualSums StrictResidualsOf(const SurveyBlock& block, const SurveyPoints& points);

}  // namespace orvo::exchange
