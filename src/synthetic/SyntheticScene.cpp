#include "synthetic/SyntheticScene.h"

#include <cmath>

namespace orvo {

SyntheticScene::SyntheticScene(const SyntheticOptions& options)
    : Given(options), Ground(options), Plan(options) {
  pCameras = MakeCameras(
      options, options.nCameras == 0 ? static_cast<int32_t>(Plan.Images().size()) : options.nCameras);
  for (const SyntheticCamera& camera : pCameras) {
    pProjectors.emplace_back(camera, options.nImageWidth, options.nImageHeight);
  }
}

int32_t SyntheticScene::CountRays(double X, double Y, double Z) const {
  int32_t rays = 0;
  Plan.VisitCandidates(X, Y, [&](int32_t ordinal) {
    const SyntheticImage& image = Plan.Images()[static_cast<size_t>(ordinal)];
    if (pProjectors[static_cast<size_t>(image.nCamera)].Project(image, X, Y, Z)) ++rays;
  });
  return rays;
}

void SyntheticScene::Measure(double X, double Y, double Z, RandomStream stream, int64_t index, bool outliers,
                             std::vector<SyntheticMeasurement>& measurements) const {
  measurements.clear();
  const bool random = Given.fNoise > 0 || (outliers && Given.fOutlierFraction > 0);
  Plan.VisitCandidates(X, Y, [&](int32_t ordinal) {
    const SyntheticImage& image = Plan.Images()[static_cast<size_t>(ordinal)];
    const SyntheticProjector& projector = pProjectors[static_cast<size_t>(image.nCamera)];
    const auto position = projector.Project(image, X, Y, Z);
    if (!position) return;
    SyntheticMeasurement measurement{ordinal, position->x, position->y, false};
    if (random) {
      CounterRandom numbers(Given.nSeed, stream, index, ordinal);
      double dx, dy;
      numbers.NormalPair(dx, dy);
      measurement.x += Given.fNoise * dx;
      measurement.y += Given.fNoise * dy;
      if (outliers && numbers.Uniform() < Given.fOutlierFraction) Displace(numbers, measurement);
      if (!projector.IsInside(measurement.x, measurement.y)) return;
    }
    measurements.push_back(measurement);
  });
}

void SyntheticScene::Displace(CounterRandom& random, SyntheticMeasurement& measurement) const {
  const double size = Given.fOutlierSize * (1 + random.Uniform());
  const SineCosine direction = PortableSineCosine(2 * kPi * random.Uniform());
  double dx = size * direction.fCos, dy = size * direction.fSin;
  // Towards the middle of the image in x and in y, so that an outlier stays on it.
  if (measurement.x * dx > 0) dx = -dx;
  if (measurement.y * dy > 0) dy = -dy;
  measurement.x += dx;
  measurement.y += dy;
  measurement.bOutlier = true;
}

}  // namespace orvo
