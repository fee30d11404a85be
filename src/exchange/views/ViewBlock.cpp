#include "exchange/views/ViewBlock.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvo::exchange {

double StrictPoint::Rms() const { return nRays > 0 ? std::sqrt(dSquareSum / (2.0 * nRays)) : 0; }

std::optional<ImageVector> ResidualOf(const SurveyBlock& block, const SurveyMeasurement& measurement,
                                      const std::array<double, 3>& P) {
  if (measurement.nImage < 0 || measurement.nImage >= std::ssize(block.Images)) return {};
  const SurveyImage& image = block.Images[static_cast<size_t>(measurement.nImage)];
  if (image.nCamera < 0 || image.nCamera >= std::ssize(block.Cameras)) return {};
  const SurveyCamera& camera = block.Cameras[static_cast<size_t>(image.nCamera)];
  const ImageVector residual =
      StrictResidual(image, camera.dFocal, CorrectedMeasurement(camera, measurement.x, measurement.y), P);
  if (!std::isfinite(residual.x) || !std::isfinite(residual.y)) return {};
  return residual;
}

StrictPoint SolveStrictly(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  StrictPoint point;
  point.P = {kNone, kNone, kNone};
  const bool meets = IntersectStrictly(block, measurements, point.P);
  for (const SurveyMeasurement& measurement : measurements) {
    const auto residual = ResidualOf(block, measurement, meets ? point.P : std::array<double, 3>{});
    if (!residual) continue;
    ++point.nRays;
    if (meets) point.dSquareSum += residual->x * residual->x + residual->y * residual->y;
  }
  point.bSolved = meets && point.nRays >= 2 && std::isfinite(point.dSquareSum);
  return point;
}

std::vector<StrictPoint> StrictPointsOf(const SurveyBlock& block, const SurveyPoints& points) {
  std::vector<StrictPoint> solved;
  solved.reserve(points.Points.size());
  for (const SurveyPoint& point : points.Points) solved.push_back(SolveStrictly(block, points.Of(point)));
  return solved;
}

StrictStatistics StatisticsOf(const SurveyBlock& block, const SurveyPoints& points,
                              std::span<const StrictPoint> solved) {
  StrictStatistics statistics;
  for (size_t k = 0; k < std::min(solved.size(), points.Points.size()); ++k) {
    if (!solved[k].bSolved) continue;
    for (const SurveyMeasurement& measurement : points.Of(points.Points[k])) {
      const auto residual = ResidualOf(block, measurement, solved[k].P);
      if (!residual) continue;
      ++statistics.nMeasurements;
      statistics.Mean[0] += residual->x;
      statistics.Mean[1] += residual->y;
      statistics.Rms[0] += residual->x * residual->x;
      statistics.Rms[1] += residual->y * residual->y;
    }
  }
  if (statistics.nMeasurements == 0) return statistics;
  const auto count = static_cast<double>(statistics.nMeasurements);
  for (double& mean : statistics.Mean) mean /= count;
  for (double& rms : statistics.Rms) rms = std::sqrt(rms / count);
  return statistics;
}

ViewBlock ViewOf(const SurveyBlock& block) {
  return {block, StrictPointsOf(block, block.Tie), StrictPointsOf(block, block.Control)};
}

int64_t SolvedNum(std::span<const StrictPoint> points) {
  return std::ranges::count_if(points, [](const StrictPoint& point) { return point.bSolved; });
}

}  // namespace orvo::exchange
