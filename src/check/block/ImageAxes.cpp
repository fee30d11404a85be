#include "check/block/ImageAxes.h"

#include <fmt/format.h>

#include <algorithm>

#include "check/block/SightRays.h"

namespace orvo {
namespace {

constexpr ImageAxes kAxes[] = {
    {nullptr, "", "x, y", false, false, 0, 0},
    {"C001", "measurements have their y axis down", "x, -y", false, true, 0, 0},
    {"C002", "measurements have their origin in the upper left corner, y down", nullptr, false, true, -0.5,
     0.5},
    {"C003", "measurements have their origin in the lower left corner", nullptr, false, false, -0.5, -0.5},
    {"C004", "measurements have x and y exchanged", "y, x", true, false, 0, 0},
};

}  // namespace

std::span<const ImageAxes> AllImageAxes() { return kAxes; }

std::array<double, 2> CorrectedIn(const ImageAxes& axes, const SurveyCamera& camera, double x, double y) {
  SurveyCamera turned = camera;
  if (axes.bDown) {
    y = -y;
    turned.dY0 = -camera.dY0;
  }
  if (axes.bExchanged) {
    std::swap(x, y);
    std::swap(turned.dX0, turned.dY0);
  }
  return CorrectedMeasurement(turned, x + axes.fOriginX * camera.nWidth, y + axes.fOriginY * camera.nHeight);
}

std::string WriteInstead(const ImageAxes& axes, std::span<const SurveyCamera> cameras) {
  if (axes.szWrite) return axes.szWrite;
  const bool same = std::ranges::all_of(cameras, [&](const SurveyCamera& camera) {
    return camera.nWidth == cameras.front().nWidth && camera.nHeight == cameras.front().nHeight;
  });
  if (same && !cameras.empty()) {
    const double x = cameras.front().nWidth / 2.0, y = cameras.front().nHeight / 2.0;
    return axes.bDown ? fmt::format("x - {}, {} - y", x, y) : fmt::format("x - {}, y - {}", x, y);
  }
  return axes.bDown ? "x - w / 2, h / 2 - y with the width w and height h of the camera"
                    : "x - w / 2, y - h / 2 with the width w and height h of the camera";
}

}  // namespace orvo
