#include "check/block/SightRays.h"

#include <algorithm>
#include <cmath>

namespace orvo {
namespace {

constexpr double kLargestK1 = 1e-5, kLargestK2 = 1e-11;  // a run takes what is above for 0

bool AllFinite(std::span<const double> values) {
  return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

}  // namespace

bool IsUsable(const SurveyCamera& camera) {
  return camera.dFocal > 0 && std::isfinite(camera.dFocal) && std::isfinite(camera.dX0) &&
         std::isfinite(camera.dY0) && std::isfinite(camera.dK1) && std::isfinite(camera.dK2);
}

std::vector<bool> UsableImages(const SurveyBlock& block) {
  std::vector<bool> usable;
  usable.reserve(block.Images.size());
  for (const SurveyImage& image : block.Images) {
    const bool camera = image.nCamera >= 0 && static_cast<size_t>(image.nCamera) < block.Cameras.size() &&
                        IsUsable(block.Cameras[static_cast<size_t>(image.nCamera)]);
    const bool placed = image.S[0] != 0 || image.S[1] != 0 || image.S[2] != 0;
    usable.push_back(camera && placed && AllFinite(image.R) && AllFinite(image.S));
  }
  return usable;
}

std::array<double, 2> DistortionOfRun(const SurveyCamera& camera) {
  return {std::fabs(camera.dK1) <= kLargestK1 ? camera.dK1 : 0,
          std::fabs(camera.dK2) <= kLargestK2 ? camera.dK2 : 0};
}

std::array<double, 2> CorrectedMeasurement(const SurveyCamera& camera, double x, double y) {
  const double u = x - camera.dX0, v = y - camera.dY0, r2 = u * u + v * v;
  const auto [k1, k2] = DistortionOfRun(camera);
  const double D = k1 * r2 + k2 * r2 * r2;
  const LensShift further = FurtherCorrection(camera.Further, u, v);
  return {u - u * D + further.x, v - v * D + further.y};
}

std::vector<SightRay> RaysOf(const SurveyBlock& block, const std::vector<bool>& usable,
                             std::span<const SurveyMeasurement> measurements, double objectScale,
                             size_t most) {
  std::vector<SightRay> rays;
  for (const SurveyMeasurement& measurement : measurements) {
    if (rays.size() == most) break;
    if (measurement.nImage < 0 || static_cast<size_t>(measurement.nImage) >= usable.size()) continue;
    const auto i = static_cast<size_t>(measurement.nImage);
    if (!usable[i] || !std::isfinite(measurement.x) || !std::isfinite(measurement.y)) continue;
    const SurveyImage& image = block.Images[i];
    const SurveyCamera& camera = block.Cameras[static_cast<size_t>(image.nCamera)];
    const auto [x, y] = CorrectedMeasurement(camera, measurement.x, measurement.y);
    SightRay ray{image.R, image.S, camera.dFocal, x, y};
    for (double& coordinate : ray.S) coordinate *= objectScale;
    rays.push_back(ray);
  }
  return rays;
}

}  // namespace orvo
