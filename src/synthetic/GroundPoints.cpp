#include "synthetic/GroundPoints.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orvo {
namespace {

struct Place {
  double u, v;
  double fDistance2;  ///< to the nearest place taken
};

/// A grid of places over the planned projection centres, two of them at least on each axis: the four corners
/// first.
std::vector<Place> MakePlaces(const FlightPlan& plan, size_t wanted) {
  // A single strip has no width of its own.
  const double halfU = std::max(plan.HalfLength(), 0.2 * plan.ReachAlong());
  const double halfV = std::max(plan.HalfWidth(), 0.5 * plan.ReachAcross());
  const auto side = static_cast<int>(std::max(16.0, std::ceil(2 * std::sqrt(static_cast<double>(wanted)))));
  std::vector<Place> corners, others;
  for (int j = 0; j < side; ++j) {
    for (int i = 0; i < side; ++i) {
      const bool corner = (i == 0 || i == side - 1) && (j == 0 || j == side - 1);
      (corner ? corners : others)
          .push_back({halfU * (2.0 * i / (side - 1) - 1), halfV * (2.0 * j / (side - 1) - 1), HUGE_VAL});
    }
  }
  // Opposite corners before neighbouring ones.
  std::swap(corners[1], corners[3]);
  corners.insert(corners.end(), others.begin(), others.end());
  return corners;
}

bool Nearer(const Place& a, const Place& b) { return a.fDistance2 < b.fDistance2; }

/// Measures the point at a place, or as far towards the middle of the block as it takes for two images.
bool MeasureAt(const SyntheticScene& scene, const Place& place, int64_t index, SyntheticGroundPoint& point) {
  for (double share = 0.98; share > 0.5; share -= 0.04) {
    scene.Flight().FromPlan(share * place.u, share * place.v, point.X, point.Y);
    point.Z = scene.GroundHeight(point.X, point.Y);
    scene.Measure(point.X, point.Y, point.Z, RandomStream::GroundMeasurement, index, false,
                  point.pMeasurements);
    if (point.pMeasurements.size() >= 2) return true;
  }
  return false;
}

}  // namespace

std::vector<SyntheticGroundPoint> MakeGroundPoints(const SyntheticScene& scene) {
  const SyntheticOptions& options = scene.Options();
  const auto wanted = static_cast<size_t>(options.nControlPoints) + static_cast<size_t>(options.nCheckPoints);
  std::vector<SyntheticGroundPoint> points;
  if (wanted == 0) return points;
  std::vector<Place> places = MakePlaces(scene.Flight(), wanted);
  for (size_t tried = 0; points.size() < wanted && tried < places.size(); ++tried) {
    const Place chosen = tried < 4 ? places[tried] : *std::max_element(places.begin(), places.end(), Nearer);
    if (chosen.fDistance2 == 0) break;
    for (Place& place : places) {
      const double du = place.u - chosen.u, dv = place.v - chosen.v;
      place.fDistance2 = std::min(place.fDistance2, du * du + dv * dv);
    }
    SyntheticGroundPoint point;
    const auto index = static_cast<int64_t>(points.size());
    if (!MeasureAt(scene, chosen, static_cast<int64_t>(tried), point)) continue;
    const bool control = index < options.nControlPoints;
    point.nType = control ? 1 : 2;
    point.szName =
        fmt::format("{}{:05}", control ? 'G' : 'C', control ? index : index - options.nControlPoints);
    CounterRandom random(options.nSeed, RandomStream::GroundNoise, index);
    point.fGivenX = point.X + options.fGroundPointNoise * random.Normal();
    point.fGivenY = point.Y + options.fGroundPointNoise * random.Normal();
    point.fGivenZ = point.Z + options.fGroundPointNoise * random.Normal();
    points.push_back(std::move(point));
  }
  return points;
}

}  // namespace orvo
