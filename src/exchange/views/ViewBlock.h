// A block with all that its views show: the points as their measurements have them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "exchange/StrictResiduals.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

/// A point by least squares of its residuals, all measurements with one weight.
struct StrictPoint {
  bool bSolved = false;  ///< its rays meet; else only nRays says something
  int32_t nRays = 0;     ///< measurements on images and cameras of the block
  std::array<double, 3> P{};
  double dSquareSum = 0;  ///< of all residuals in x and y, square image units

  /// Root mean square of a residual component, image units.
  double Rms() const;
};

/// Residual of a measurement; nothing where it lies on no image or camera of the block, or P in the plane of
/// the projection centre.
std::optional<ImageVector> ResidualOf(const SurveyBlock& block, const SurveyMeasurement& measurement,
                                      const std::array<double, 3>& P);

/// From the rays alone: the coordinates that the point has are not looked at.
StrictPoint SolveStrictly(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements);
/// Each of `points`, in order.
std::vector<StrictPoint> StrictPointsOf(const SurveyBlock& block, const SurveyPoints& points);

/// Strict residuals of all measurements of solved points together, image units; x, y.
struct StrictStatistics {
  int64_t nMeasurements = 0;
  std::array<double, 2> Mean{}, Rms{};
};
/// `solved` as StrictPointsOf gives it for the same points.
StrictStatistics StatisticsOf(const SurveyBlock& block, const SurveyPoints& points,
                              std::span<const StrictPoint> solved);

/// The block outlives it.
struct ViewBlock {
  const SurveyBlock& Block;
  std::vector<StrictPoint> Tie, Control;  ///< by ordinal
};
ViewBlock ViewOf(const SurveyBlock& block);

/// How many of `points` are solved, and are thus written.
int64_t SolvedNum(std::span<const StrictPoint> points);

}  // namespace orvo::exchange
