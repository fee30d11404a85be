#include "check/block/StrayImages.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>

#include "check/block/BlockScene.h"
#include "check/block/LeastSquaresIntersection.h"

namespace orvo {
namespace {

constexpr size_t kPointsOfImage = 16, kFewestPoints = 6, kMostRays = 12;
constexpr double kLeastMiss = 200;  // image units
constexpr double kTimesOthers = 20, kTimesUsual = 15;
constexpr size_t kMostTold = 10;
constexpr double kFewest = 0.2;  // of the images
constexpr double kMostOf = 0.6;  // of the points of an image

/// Whom a point tells about.
struct Vote {
  double dMiss, dOthers;
};

void AddVotes(const SurveyBlock& block, const std::vector<bool>& usable,
              std::span<const SurveyMeasurement> measurements, double objectScale,
              std::vector<std::vector<Vote>>& votes) {
  const auto isWanted = [&](const SurveyMeasurement& measurement) {
    return measurement.nImage >= 0 && static_cast<size_t>(measurement.nImage) < votes.size() &&
           usable[static_cast<size_t>(measurement.nImage)] &&
           votes[static_cast<size_t>(measurement.nImage)].size() < kPointsOfImage;
  };
  if (std::ranges::none_of(measurements, isWanted)) return;
  std::vector<size_t> images;
  std::vector<SightRay> rays;
  for (const SurveyMeasurement& measurement : measurements) {
    if (rays.size() == kMostRays) break;
    const auto one = RaysOf(block, usable, {&measurement, 1}, objectScale);
    if (one.empty()) continue;
    rays.push_back(one.front());
    images.push_back(static_cast<size_t>(measurement.nImage));
  }
  if (rays.size() < 3) return;
  std::vector<SightRay> others;
  for (size_t i = 0; i < rays.size(); ++i) {
    if (votes[images[i]].size() >= kPointsOfImage) continue;
    others = rays;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
    const auto met = IntersectLeastSquares(others);
    if (!met || met->nBehind > 0) continue;
    votes[images[i]].push_back({MissOf(rays[i], met->P), met->dRms});
  }
}

/// The image of which the largest share of rays miss, among those of which most do; nothing where there is
/// none. `judged`: images with enough points.
std::optional<StrayImage> WorstOf(const SurveyBlock& block, const std::vector<bool>& usable,
                                  double objectScale, size_t& judged) {
  std::vector<std::vector<Vote>> votes(block.Images.size());
  for (const SurveyPoint& point : block.Tie.Points) {
    if (point.nMeasurementNum >= 3) AddVotes(block, usable, block.Tie.Of(point), objectScale, votes);
  }
  std::vector<double> all;
  for (const std::vector<Vote>& ofImage : votes) {
    for (const Vote& vote : ofImage) all.push_back(vote.dMiss);
  }
  const double least = std::max(kLeastMiss, kTimesUsual * Quantile(all, 0.5));
  std::optional<StrayImage> worst;
  double most = kMostOf;
  judged = 0;
  for (size_t i = 0; i < votes.size(); ++i) {
    if (votes[i].size() < kFewestPoints) continue;
    ++judged;
    std::vector<double> misses;
    for (const Vote& vote : votes[i]) {
      if (vote.dMiss > std::max(least, kTimesOthers * vote.dOthers)) misses.push_back(vote.dMiss);
    }
    const double share = static_cast<double>(misses.size()) / static_cast<double>(votes[i].size());
    if (share < most) continue;
    const double miss = Quantile(misses, 0.5);
    if (worst && share == most && miss <= worst->dMiss) continue;
    most = share;
    worst = StrayImage{i, miss};
  }
  return worst;
}

}  // namespace

std::vector<StrayImage> FindStrayImages(const SurveyBlock& block, const std::vector<bool>& usable,
                                        double objectScale) {
  std::vector<StrayImage> stray;
  std::vector<bool> left = usable;
  size_t judged = 0;
  // The rays of one that is wrong make its neighbours look wrong as well: it goes before they are judged.
  while (const auto worst = WorstOf(block, left, objectScale, judged)) {
    stray.push_back(*worst);
    left[worst->nImage] = false;
    if (stray.size() > kMostTold || static_cast<double>(stray.size()) > kFewest * static_cast<double>(judged))
      return {};
  }
  std::ranges::sort(stray, {}, &StrayImage::nImage);
  return stray;
}

}  // namespace orvo
