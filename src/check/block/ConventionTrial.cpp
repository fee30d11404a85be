#include "check/block/ConventionTrial.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "check/block/LeastSquaresIntersection.h"
#include "check/block/PointSample.h"

namespace orvo {
namespace {

constexpr size_t kSampleSize = 400;
constexpr size_t kMostRays = 10;
constexpr double kNoIntersection = 1e4;  // of points whose rays do not meet

struct SampleRay {
  const SurveyImage* pImage;
  const SurveyCamera* pCamera;
  double x, y;
};
using SamplePoint = std::vector<SampleRay>;

void AddPoints(const SurveyBlock& block, const SurveyPoints& points, const std::vector<bool>& usable,
               std::vector<SamplePoint>& sample) {
  for (const size_t ordinal : SampleOfManyRays(points, kSampleSize)) {
    SamplePoint point;
    for (const SurveyMeasurement& measurement : points.Of(points.Points[ordinal])) {
      if (point.size() == kMostRays) break;
      if (measurement.nImage < 0 || static_cast<size_t>(measurement.nImage) >= usable.size()) continue;
      if (!usable[static_cast<size_t>(measurement.nImage)]) continue;
      const SurveyImage& image = block.Images[static_cast<size_t>(measurement.nImage)];
      point.push_back(
          {&image, &block.Cameras[static_cast<size_t>(image.nCamera)], measurement.x, measurement.y});
    }
    if (point.size() >= 2) sample.push_back(std::move(point));
  }
}

std::vector<SamplePoint> TakeSample(const SurveyBlock& block) {
  const std::vector<bool> usable = UsableImages(block);
  std::vector<SamplePoint> sample;
  AddPoints(block, block.Tie, usable, sample);
  if (sample.size() < kFewestTrialPoints) AddPoints(block, block.Control, usable, sample);
  const auto isPair = [](const SamplePoint& point) { return point.size() < 3; };
  const auto pairs = static_cast<size_t>(std::ranges::count_if(sample, isPair));
  if (sample.size() - pairs >= 2 * kFewestTrialPoints) std::erase_if(sample, isPair);
  return sample;
}

ReadingTrial Try(const std::vector<SamplePoint>& sample, const ImageAxes& axes,
                 const MatrixReading& reading) {
  std::vector<double> squares;
  std::vector<SightRay> rays;
  ReadingTrial trial{&axes, &reading};
  for (const SamplePoint& point : sample) {
    rays.clear();
    for (const SampleRay& ray : point) {
      const Orientation orientation = Read(reading, {ray.pImage->R, ray.pImage->S});
      const auto [x, y] = CorrectedIn(axes, *ray.pCamera, ray.x, ray.y);
      rays.push_back({orientation.R, orientation.S, ray.pCamera->dFocal, x, y});
    }
    const auto met = IntersectLeastSquares(rays);
    const double rms = met ? std::min(met->dRms, kNoIntersection) : kNoIntersection;
    squares.push_back(rms * rms);
    const double share = 1.0 / static_cast<double>(sample.size());
    if (met && met->bAbove) trial.dAbove += share;
    if (met && 2 * met->nBehind >= met->nRays) trial.dBehind += share;
  }
  std::ranges::sort(squares);
  squares.resize(std::max<size_t>(1, squares.size() * 4 / 5));
  double sum = 0;
  for (const double square : squares) sum += square;
  trial.dRms = std::sqrt(sum / static_cast<double>(squares.size()));
  return trial;
}

/// Of those that are as good as the best, the likeliest.
ReadingTrial Choose(const std::vector<ReadingTrial>& trials) {
  const double best = std::ranges::min_element(trials, {}, &ReadingTrial::dRms)->dRms;
  const double limit = std::max(1.5 * best, best + 1);
  const auto order = [](const ReadingTrial& trial) {
    return std::tuple(std::lround(5 * (trial.dAbove + trial.dBehind)), trial.nDepartures(), trial.dRms);
  };
  const ReadingTrial* chosen = nullptr;
  for (const ReadingTrial& trial : trials) {
    if (trial.dRms <= limit && (!chosen || order(trial) < order(*chosen))) chosen = &trial;
  }
  return *chosen;
}

}  // namespace

ConventionVerdict TryConventions(const SurveyBlock& block) {
  ConventionVerdict verdict;
  const std::vector<SamplePoint> sample = TakeSample(block);
  verdict.nPoints = sample.size();
  if (sample.size() < kFewestTrialPoints) return verdict;
  std::vector<ReadingTrial> trials;
  for (const ImageAxes& axes : AllImageAxes()) {
    for (const MatrixReading& reading : AllMatrixReadings()) trials.push_back(Try(sample, axes, reading));
  }
  verdict.Written = trials.front();
  verdict.Best = Choose(trials);
  const ReadingTrial &written = verdict.Written, &best = verdict.Best;
  const bool other = best.nDepartures() > 0 && best.dRms < kTrialLimit;
  const bool better = written.dRms > kTrialFloor && written.dRms > kTrialFactor * best.dRms;
  const bool backwards = written.dBehind > 0.5 && best.dBehind < 0.25;
  // Of vertical views two readings fit alike, one of them with the ground above the cameras.
  const bool upside = written.dAbove > 0.9 && best.dAbove < 0.1;
  verdict.bWrong = other && (better || backwards || upside);
  return verdict;
}

}  // namespace orvo
