#include "check/block/BlockScene.h"

#include <algorithm>
#include <cmath>

#include "check/block/PointSample.h"

namespace orvo {
namespace {

constexpr size_t kSampleSize = 1000;
constexpr double kWorthwhileBase = 0.1;  // of the distance; rays from one place meet anywhere

template <typename Get>
double QuantileOf(const std::vector<ScenePoint>& points, double share, const Get& get) {
  std::vector<double> values;
  values.reserve(points.size());
  for (const ScenePoint& point : points) values.push_back(get(point));
  return Quantile(values, share);
}

/// Root mean square of the smaller four fifths.
double TrimmedRms(std::vector<double> values) {
  if (values.empty()) return 0;
  std::ranges::sort(values);
  values.resize(std::max<size_t>(1, values.size() * 4 / 5));
  double squares = 0;
  for (const double value : values) squares += value * value;
  return std::sqrt(squares / static_cast<double>(values.size()));
}

/// Opposite to where the cameras look in the mean; Z where they look everywhere.
std::array<double, 3> MeanBack(const SurveyBlock& block, const std::vector<bool>& usable) {
  std::array<double, 3> sum{};
  double count = 0;
  for (size_t i = 0; i < usable.size(); ++i) {
    if (!usable[i]) continue;
    for (size_t k = 0; k < 3; ++k) sum[k] += block.Images[i].R[3 * k + 2];
    ++count;
  }
  const double length = std::hypot(sum[0], sum[1], sum[2]);
  if (!(length > 0.2 * count)) return {0, 0, 1};
  return {sum[0] / length, sum[1] / length, sum[2] / length};
}

}  // namespace

double LongestBase(std::span<const SightRay> rays) {
  double longest = 0;
  for (size_t a = 0; a < rays.size(); ++a) {
    for (size_t b = a + 1; b < rays.size(); ++b) {
      longest = std::max(longest, std::hypot(rays[a].S[0] - rays[b].S[0], rays[a].S[1] - rays[b].S[1],
                                             rays[a].S[2] - rays[b].S[2]));
    }
  }
  return longest;
}

double Quantile(std::vector<double>& values, double share) {
  if (values.empty()) return 0;
  // What is no number has no place in an order.
  for (double& value : values) {
    if (std::isnan(value)) value = HUGE_VAL;
  }
  const auto at = static_cast<size_t>(share * static_cast<double>(values.size() - 1));
  std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(at));
  return values[at];
}

BlockScene SampleScene(const SurveyBlock& block, const std::vector<bool>& usable, double objectScale) {
  BlockScene scene;
  scene.Up = MeanBack(block, usable);
  std::vector<double> depths, residuals, sigmas;
  size_t worthwhile = 0, behind = 0;
  for (const size_t ordinal : EvenSample(block.Tie, kSampleSize)) {
    const auto rays = RaysOf(block, usable, block.Tie.Of(block.Tie.Points[ordinal]), objectScale);
    if (rays.size() < 2) continue;
    ++scene.nSampled;
    const auto met = IntersectLeastSquares(rays);
    if (!met) continue;
    const double base = met->dDepth != 0 ? LongestBase(rays) / std::fabs(met->dDepth) : 0;
    scene.Points.push_back({*met, base});
    residuals.push_back(met->dRms);
    sigmas.push_back(met->dRms / rays.front().f * std::sqrt(met->nRays / (2.0 * met->nRays - 3)));
    if (met->nBehind == 0) depths.push_back(met->dDepth);
    if (base < kWorthwhileBase) continue;
    ++worthwhile;
    if (met->nBehind > 0) ++behind;
  }
  if (scene.Points.empty()) return scene;
  scene.dDepth = Quantile(depths, 0.5);
  scene.dRms = TrimmedRms(residuals);
  scene.dRaySigma = TrimmedRms(sigmas);
  scene.dBehind = worthwhile > 0 ? static_cast<double>(behind) / static_cast<double>(worthwhile) : 0;
  scene.dBaseToHeight =
      QuantileOf(scene.Points, 0.5, [](const ScenePoint& point) { return point.dBaseToHeight; });
  for (size_t k = 0; k < 3; ++k) {
    const auto coordinate = [k](const ScenePoint& point) { return point.Met.P[k]; };
    scene.Low[k] = QuantileOf(scene.Points, 0.05, coordinate);
    scene.High[k] = QuantileOf(scene.Points, 0.95, coordinate);
  }
  return scene;
}

}  // namespace orvo
