#include "exchange/views/Footprint.h"

#include <algorithm>
#include <cmath>

namespace orvo::exchange {
namespace {

/// X, Y where the ray of an ideal image point meets the plane.
std::optional<PlanPoint> OnPlane(const SurveyImage& image, const std::array<double, 3>& ideal,
                                 double ground) {
  std::array<double, 3> ray{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t k = 0; k < 3; ++k) ray[row] += image.R[3 * row + k] * ideal[k];
  }
  const double length = std::hypot(ray[0], ray[1], ray[2]), height = image.S[2] - ground;
  // Rays that leave the horizon by less than two degrees end far off, and say nothing of the image.
  if (!(ray[2] < -0.035 * length) || !(height > 0)) return {};
  const double scale = -height / ray[2];
  return PlanPoint{image.S[0] + scale * ray[0], image.S[1] + scale * ray[1]};
}

}  // namespace

double MedianOf(std::span<double> values) {
  if (values.empty()) return 0;
  // What is no number counts as the largest, so that there is an order.
  const auto below = [](double p, double q) { return p < q || (std::isnan(q) && !std::isnan(p)); };
  const auto middle = values.begin() + std::ssize(values) / 2;
  std::nth_element(values.begin(), middle, values.end(), below);
  if (values.size() % 2 == 1) return *middle;
  return (*middle + *std::max_element(values.begin(), middle, below)) / 2;
}

std::optional<std::vector<double>> GroundHeights(const SurveyBlock& block, const SurveyPoints& points,
                                                 std::span<const StrictPoint> solved) {
  std::vector<std::vector<double>> ofImage(block.Images.size());
  std::vector<double> all;
  for (size_t k = 0; k < std::min(solved.size(), points.Points.size()); ++k) {
    if (!solved[k].bSolved) continue;
    all.push_back(solved[k].P[2]);
    for (const SurveyMeasurement& measurement : points.Of(points.Points[k])) {
      if (measurement.nImage < 0 || measurement.nImage >= std::ssize(ofImage)) continue;
      ofImage[static_cast<size_t>(measurement.nImage)].push_back(solved[k].P[2]);
    }
  }
  if (all.empty()) return {};
  const double ofAll = MedianOf(all);
  std::vector<double> heights;
  heights.reserve(ofImage.size());
  for (std::vector<double>& values : ofImage) heights.push_back(values.empty() ? ofAll : MedianOf(values));
  return heights;
}

Polygon FootprintOf(const SurveyBlock& block, const SurveyImage& image, double ground) {
  if (image.nCamera < 0 || image.nCamera >= std::ssize(block.Cameras)) return {};
  const SurveyCamera& camera = block.Cameras[static_cast<size_t>(image.nCamera)];
  if (!(camera.dFocal > 0) || camera.nWidth < 1 || camera.nHeight < 1) return {};
  const double x = 0.5 * camera.nWidth, y = 0.5 * camera.nHeight;
  Polygon polygon;
  for (const PlanPoint& corner : {PlanPoint{-x, -y}, {x, -y}, {x, y}, {-x, y}}) {
    const ImageVector ideal = CorrectedMeasurement(camera, corner[0], corner[1]);
    const auto place = OnPlane(image, {ideal.x, ideal.y, -camera.dFocal}, ground);
    if (!place || !std::isfinite((*place)[0]) || !std::isfinite((*place)[1])) return {};
    polygon.push_back(*place);
  }
  if (AreaOf(polygon) < 0) std::reverse(polygon.begin(), polygon.end());
  return polygon;
}

double AreaOf(const Polygon& polygon) {
  double sum = 0;
  for (size_t k = 0; k < polygon.size(); ++k) {
    // From the first corner on, so that long coordinates cost no digits.
    const PlanPoint &o = polygon.front(), &p = polygon[k], &q = polygon[(k + 1) % polygon.size()];
    sum += (p[0] - o[0]) * (q[1] - o[1]) - (q[0] - o[0]) * (p[1] - o[1]);
  }
  return sum / 2;
}

Polygon ClippedBy(const Polygon& polygon, double a, double b, double c) {
  Polygon inside;
  for (size_t k = 0; k < polygon.size(); ++k) {
    const PlanPoint &p = polygon[k], &q = polygon[(k + 1) % polygon.size()];
    const double atP = a * p[0] + b * p[1] - c, atQ = a * q[0] + b * q[1] - c;
    if (atP <= 0) inside.push_back(p);
    if ((atP < 0 && atQ > 0) || (atP > 0 && atQ < 0)) {
      const double t = atP / (atP - atQ);
      inside.push_back({p[0] + t * (q[0] - p[0]), p[1] + t * (q[1] - p[1])});
    }
  }
  return inside;
}

}  // namespace orvo::exchange
