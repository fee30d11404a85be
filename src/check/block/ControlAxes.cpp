#include "check/block/ControlAxes.h"

#include <algorithm>
#include <array>

#include "check/block/BlockScene.h"
#include "check/block/ImageAxes.h"
#include "check/block/LeastSquaresIntersection.h"

namespace orvo {
namespace {

constexpr size_t kFewestPoints = 3, kMostRays = 12;
constexpr double kWrittenFloor = 100, kReadLimit = 200, kTimesBetter = 5;  // image units
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

std::vector<double> Residuals(const SurveyBlock& block, const std::vector<bool>& usable,
                              const AxesReading& reading) {
  std::vector<double> residuals;
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
    const auto rays = RaysOf(block, usable, read, 1, kMostRays);
    if (rays.size() < 2) continue;
    const auto met = IntersectLeastSquares(rays);
    // Vertical rays that are turned by 180 degrees meet as well, above their cameras.
    const bool fits = met && 2 * met->nBehind < met->nRays;
    residuals.push_back(fits ? std::min(met->dRms, kNoIntersection) : kNoIntersection);
  }
  return residuals;
}

}  // namespace

std::optional<ControlAxes> FindControlAxes(const SurveyBlock& block, const std::vector<bool>& usable) {
  std::vector<double> written = Residuals(block, usable, kReadings[0]);
  if (written.size() < kFewestPoints) return std::nullopt;
  const double before = Quantile(written, 0.5);
  if (!(before > kWrittenFloor)) return std::nullopt;
  const AxesReading* best = nullptr;
  double after = std::min(kReadLimit, before / kTimesBetter);
  for (const AxesReading& reading : kReadings) {
    std::vector<double> residuals = Residuals(block, usable, reading);
    const double residual = Quantile(residuals, 0.5);
    if (!(residual < after)) continue;
    best = &reading;
    after = residual;
  }
  if (!best) return std::nullopt;
  const ImageAxes corner = {nullptr, "", nullptr, false, best->Y[1] < 0, best->X[2], best->Y[2]};
  return ControlAxes{best->szWhat, best->szWrite ? best->szWrite : WriteInstead(corner, block.Cameras),
                     before, after};
}

}  // namespace orvo
