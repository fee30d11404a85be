#include "synthetic/TiePointField.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace orvo {

TiePointField::TiePointField(const SyntheticScene& scene) : Scene(scene) {
  const FlightPlan& plan = scene.Flight();
  const SyntheticOptions& options = scene.Options();
  const double alongHalf = plan.ReachAlong(), acrossHalf = plan.ReachAcross();
  const bool cross = options.nCrossStrips > 0;
  fHalfU = plan.HalfLength() + (cross ? std::max(alongHalf, acrossHalf) : alongHalf);
  fHalfV = plan.HalfWidth() + (cross ? 2 * alongHalf : acrossHalf);
  const double rays = MeanRays();
  if (!(rays > 0)) return;
  const double points = options.fMeasurementsPerImage * static_cast<double>(scene.Images().size()) / rays;
  const double spacing = std::sqrt(4 * fHalfU * fHalfV / points);
  nCellsU = std::max<int64_t>(1, std::llround(2 * fHalfU / spacing));
  nCellsV = std::max<int64_t>(1, std::llround(points / static_cast<double>(nCellsU)));
  nHalfBits = static_cast<int>((std::bit_width(static_cast<uint64_t>(nCellsU * nCellsV)) + 1) / 2);
}

double TiePointField::MeanRays() const {
  // Stratified sampling: enough samples for a per cent or two, few against the points of a large block.
  constexpr int64_t kSamples = 40000;
  const auto samplesU = std::clamp<int64_t>(std::llround(std::sqrt(kSamples * fHalfU / fHalfV)), 1, kSamples);
  const int64_t samplesV = std::max<int64_t>(1, kSamples / samplesU);
  int64_t sum = 0;
  for (int64_t i = 0; i < samplesU * samplesV; ++i) {
    CounterRandom random(Scene.Options().nSeed, RandomStream::Density, i);
    const double u =
        fHalfU *
        (2 * (static_cast<double>(i % samplesU) + random.Uniform()) / static_cast<double>(samplesU) - 1);
    const double v =
        fHalfV *
        (2 * (static_cast<double>(i / samplesU) + random.Uniform()) / static_cast<double>(samplesV) - 1);
    double X, Y;
    Scene.Flight().FromPlan(u, v, X, Y);
    const int32_t rays = Scene.CountRays(X, Y, Scene.GroundHeight(X, Y));
    if (rays >= 2) sum += rays;
  }
  return static_cast<double>(sum) / static_cast<double>(samplesU * samplesV);
}

int64_t TiePointField::CellAt(int64_t place) const {
  if (!Scene.Options().bRandomOrder) return place;
  // A Feistel network permutes the numbers of 2 nHalfBits bits; walking its cycle until a number is a cell
  // permutes the cells.
  const uint64_t mask = (uint64_t{1} << nHalfBits) - 1;
  auto value = static_cast<uint64_t>(place);
  do {
    uint64_t left = value >> nHalfBits, right = value & mask;
    for (int round = 0; round < 4; ++round) {
      CounterRandom key(Scene.Options().nSeed, RandomStream::Order, round, static_cast<int64_t>(right));
      const uint64_t next = left ^ (key.Bits() & mask);
      left = right;
      right = next;
    }
    value = left << nHalfBits | right;
  } while (value >= static_cast<uint64_t>(nCellsU * nCellsV));
  return static_cast<int64_t>(value);
}

bool TiePointField::Make(int64_t place, SyntheticTiePoint& point,
                         std::vector<SyntheticMeasurement>& measurements) const {
  const SyntheticOptions& options = Scene.Options();
  point.nCell = CellAt(place);
  CounterRandom random(options.nSeed, RandomStream::Tie, point.nCell);
  const auto column = static_cast<double>(point.nCell % nCellsU);
  const auto row = static_cast<double>(point.nCell / nCellsU);
  const double u = fHalfU * (2 * (column + random.Uniform()) / static_cast<double>(nCellsU) - 1);
  const double v = fHalfV * (2 * (row + random.Uniform()) / static_cast<double>(nCellsV) - 1);
  Scene.Flight().FromPlan(u, v, point.X, point.Y);
  point.Z = Scene.GroundHeight(point.X, point.Y);
  Scene.Measure(point.X, point.Y, point.Z, RandomStream::TieMeasurement, point.nCell, true, measurements);
  if (measurements.size() < 2) return false;
  CounterRandom start(options.nSeed, RandomStream::TieStart, point.nCell);
  double a, b;
  start.NormalPair(a, b);
  point.fStartX = point.X + options.fPointStart * a;
  point.fStartY = point.Y + options.fPointStart * b;
  point.fStartZ = point.Z + options.fPointStart * start.Normal();
  return true;
}

}  // namespace orvo
