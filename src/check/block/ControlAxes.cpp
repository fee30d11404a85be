#include "check/block/ControlAxes.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "check/block/BlockScene.h"
#include "check/block/ImageAxes.h"
#include "check/block/LeastSquaresIntersection.h"
#include "geometry/RobustSimilarity.h"

namespace orvo {
namespace {

constexpr size_t kFewestPoints = 3, kMostRays = 12;
constexpr double kWrittenFloor = 100, kReadLimit = 200, kTimesBetter = 5;  // image units
constexpr double kAwayFloor = 0.02;                                        // of the depth
constexpr double kTimesNearer = 10, kAlike = 2;
constexpr double kNoIntersection = 1e4;

/// x and y from those that are written: factors of x, of y, and of the extent.
struct AxesReading {
  const char* szWhat;
  const char* szWrite;  ///< null for an origin in a corner
  std::array<double, 3> X, Y;
};

constexpr AxesReading kReadings[] = {
    {"", "", {1, 0, 0}, {0, 1, 0}},
    {"have their y axis down", "x, -y", {1, 0, 0}, {0, -1, 0}},
    {"have their origin in the upper left corner, y down", nullptr, {1, 0, -0.5}, {0, -1, 0.5}},
    {"have their origin in the lower left corner", nullptr, {1, 0, -0.5}, {0, 1, -0.5}},
    {"have x and y exchanged", "y, x", {0, 1, 0}, {1, 0, 0}},
    {"are turned by 180 degrees", "-x, -y", {-1, 0, 0}, {0, -1, 0}},
    {"are turned by 90 degrees", "y, -x", {0, 1, 0}, {-1, 0, 0}},
    {"are turned by 90 degrees", "-y, x", {0, -1, 0}, {1, 0, 0}},
};

/// How rays meet under a reading: their residuals, and how far from the coordinates that are given.
struct Meeting {
  std::vector<double> Residuals, Distances, Depths;
};

Meeting MeetingOf(const SurveyBlock& block, const std::vector<bool>& usable, double objectScale,
                  const AxesReading& reading) {
  Meeting meeting;
  std::vector<SurveyMeasurement> read;
  for (const SurveyPoint& point : block.Control.Points) {
    read.clear();
    for (SurveyMeasurement measurement : block.Control.Of(point)) {
      if (measurement.nImage < 0 || static_cast<size_t>(measurement.nImage) >= usable.size()) continue;
      if (!usable[static_cast<size_t>(measurement.nImage)]) continue;
      const SurveyImage& image = block.Images[static_cast<size_t>(measurement.nImage)];
      const SurveyCamera& camera = block.Cameras[static_cast<size_t>(image.nCamera)];
      const double x = measurement.x, y = measurement.y;
      measurement.x = reading.X[0] * x + reading.X[1] * y + reading.X[2] * camera.nWidth;
      measurement.y = reading.Y[0] * x + reading.Y[1] * y + reading.Y[2] * camera.nHeight;
      read.push_back(measurement);
    }
    const auto rays = RaysOf(block, usable, read, objectScale, kMostRays);
    if (rays.size() < 2) continue;
    const auto met = IntersectLeastSquares(rays);
    // Vertical rays that are turned by 180 degrees meet as well, above their cameras.
    const bool fits = met && 2 * met->nBehind < met->nRays;
    meeting.Residuals.push_back(fits ? std::min(met->dRms, kNoIntersection) : kNoIntersection);
    meeting.Distances.push_back(fits ? Distance(met->P, point.P) : HUGE_VAL);
    if (fits) meeting.Depths.push_back(met->dDepth);
  }
  return meeting;
}

struct Trial {
  const AxesReading* pReading;
  double dResidual, dDistance;
};

double Half(std::vector<double> values) { return Quantile(values, 0.5); }

ControlAxes Told(const AxesReading& reading, const SurveyBlock& block) {
  const ImageAxes corner = {nullptr, "", nullptr, false, reading.Y[1] < 0, reading.X[2], reading.Y[2]};
  ControlAxes axes;
  axes.szWhat = reading.szWhat;
  axes.szWrite = reading.szWrite ? reading.szWrite : WriteInstead(corner, block.Cameras);
  return axes;
}

}  // namespace

std::optional<ControlAxes> FindControlAxes(const SurveyBlock& block, const std::vector<bool>& usable,
                                           double objectScale) {
  const Meeting written = MeetingOf(block, usable, objectScale, kReadings[0]);
  if (written.Residuals.size() < kFewestPoints) return std::nullopt;
  const double missed = Half(written.Residuals), away = Half(written.Distances);
  const bool misses = missed > kWrittenFloor, isAway = away > kAwayFloor * Half(written.Depths);
  const double limit = std::min(kReadLimit, missed / kTimesBetter);
  std::vector<Trial> trials;
  for (const AxesReading& reading : kReadings) {
    const Meeting read = MeetingOf(block, usable, objectScale, reading);
    trials.push_back({&reading, Half(read.Residuals), Half(read.Distances)});
  }
  const double least = std::ranges::min_element(trials, {}, &Trial::dResidual)->dResidual;
  const Trial *meets = nullptr, *nearer = nullptr;
  for (const Trial& trial : trials) {
    // Of those by which vertical rays meet alike, the one that meets near the given coordinates.
    const bool alike = trial.dResidual <= kAlike * least + 1;
    if (misses && alike && trial.dResidual < limit && (!meets || trial.dDistance < meets->dDistance))
      meets = &trial;
    if (isAway && trial.dResidual < kReadLimit && trial.dDistance < away / kTimesNearer &&
        (!nearer || trial.dDistance < nearer->dDistance))
      nearer = &trial;
  }
  if (!meets && !nearer) return std::nullopt;
  ControlAxes axes = Told(*(meets ? meets : nearer)->pReading, block);
  axes.bByPlace = !meets;
  axes.dWritten = meets ? missed : away;
  axes.dRead = meets ? meets->dResidual : nearer->dDistance;
  return axes;
}

}  // namespace orvo
