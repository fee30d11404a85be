#include "check/block/BlockScene.h"

#include <algorithm>
#include <cmath>

#include "check/block/PointSample.h"

namespace orvo {
namespace {

constexpr size_t kSampleSize = 1000;

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

template <typename Get>
double QuantileOf(const std::vector<ScenePoint>& points, double share, const Get& get) {
  std::vector<double> values;
  values.reserve(points.size());
  for (const ScenePoint& point : points) values.push_back(get(point));
  return Quantile(values, share);
}

double TrimmedRms(const std::vector<ScenePoint>& points) {
  std::vector<double> values;
  for (const ScenePoint& point : points) values.push_back(point.Met.dRms);
  std::ranges::sort(values);
  values.resize(values.empty() ? 0 : std::max<size_t>(1, values.size() * 4 / 5));
  double squares = 0;
  for (const double value : values) squares += value * value;
  return values.empty() ? 0 : std::sqrt(squares / static_cast<double>(values.size()));
}

}  // namespace

double Quantile(std::vector<double>& values, double share) {
  if (values.empty()) return 0;
  const auto at = static_cast<size_t>(share * static_cast<double>(values.size() - 1));
  std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(at));
  return values[at];
}

BlockScene SampleScene(const SurveyBlock& block, const std::vector<bool>& usable, double objectScale) {
  BlockScene scene;
  for (const size_t ordinal : EvenSample(block.Tie, kSampleSize)) {
    const auto rays = RaysOf(block, usable, block.Tie.Of(block.Tie.Points[ordinal]), objectScale);
    if (rays.size() < 2) continue;
    ++scene.nSampled;
    const auto met = IntersectLeastSquares(rays);
    if (!met) continue;
    scene.Points.push_back({*met, met->dDepth != 0 ? LongestBase(rays) / std::fabs(met->dDepth) : 0});
  }
  if (scene.Points.empty()) return scene;
  std::vector<double> depths;
  for (const ScenePoint& point : scene.Points) {
    if (point.Met.nBehind == 0) depths.push_back(point.Met.dDepth);
  }
  scene.dDepth = Quantile(depths, 0.5);
  scene.dRms = TrimmedRms(scene.Points);
  scene.dBehind = 1 - static_cast<double>(depths.size()) / static_cast<double>(scene.Points.size());
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
