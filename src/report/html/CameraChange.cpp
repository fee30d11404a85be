#include "report/html/CameraChange.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "report/html/Numbers.h"

namespace orvo::report {

namespace {

constexpr double kFocalShare = 1, kPrincipalShare = 1;  // percent
constexpr double kNoCamera = 90;                        // percent: a change that is no matter of calibration
constexpr int kSteps = 200;

// Whether points further out are measured further in, somewhere before the corner.
bool TurnsBack(const CameraParameters& camera, double corner) {
  for (int i = 1; i <= kSteps; ++i) {
    const double r2 = std::pow(corner * i / kSteps, 2);
    const double outwards =
        1 - 3 * camera.k1 * r2 - 5 * camera.k2 * r2 * r2 - 7 * camera.Further.fK3 * r2 * r2 * r2;
    if (outwards <= 0) return true;
  }
  return false;
}

}  // namespace

double CornerRadius(const CameraFigure& camera) {
  const double rings = camera.fRingWidth * static_cast<double>(camera.vRings.size());
  if (rings > 0 && std::isfinite(rings)) return rings;
  return std::hypot(camera.nWidth, camera.nHeight) / 2;
}

double StartCornerRadius(const CameraFigure& camera) {
  if (camera.vRings.empty() || camera.nWidth <= 0 || camera.nHeight <= 0) return CornerRadius(camera);
  return std::hypot(camera.nWidth / 2.0 + std::abs(camera.Start.x0),
                    camera.nHeight / 2.0 + std::abs(camera.Start.y0));
}

double DistortionAt(const CameraParameters& camera, double radius) {
  const double r2 = radius * radius;
  return radius * (camera.k1 * r2 + camera.k2 * r2 * r2 + camera.Further.fK3 * r2 * r2 * r2);
}

double ChangeAtCorner(const CameraFigure& camera) {
  const CameraParameters &a = camera.Start, &b = camera.End;
  const double corner = StartCornerRadius(camera);
  const double focal = a.f != 0 ? corner * std::abs((b.f - a.f) / a.f) : 0;
  return std::hypot(b.x0 - a.x0, b.y0 - a.y0) + focal +
         std::abs(DistortionAt(b, corner) - DistortionAt(a, corner));
}

std::vector<std::string> CameraRemarks(const CameraFigure& camera) {
  std::vector<std::string> remarks;
  const CameraParameters &a = camera.Start, &b = camera.End;
  const double focal = a.f != 0 ? 100 * (b.f - a.f) / a.f : 0;
  if (std::abs(focal) > kNoCamera)
    remarks.push_back(
        fmt::format("The focal length went from {} to {} px, which no camera does: the result is wrong.",
                    Fixed(a.f, 1), Fixed(b.f, 1)));
  else if (std::abs(focal) > kFocalShare)
    remarks.push_back(
        fmt::format("The focal length changed by {} %. Compare it with a calibration: in flat terrain and "
                    "without control "
                    "in different heights, focal length and flying height can hardly be told apart.",
                    Signed(focal, 1)));
  const double side = std::max(camera.nWidth, camera.nHeight), moved = std::hypot(b.x0 - a.x0, b.y0 - a.y0);
  if (side > 0 && 100 * moved > kPrincipalShare * side)
    remarks.push_back(
        fmt::format("The principal point moved by {} px, {} % of the image: see whether the start values "
                    "count from the middle of the image.",
                    Fixed(moved, 1), Fixed(100 * moved / side, 1)));
  const double corner = CornerRadius(camera);
  if (TurnsBack(b, corner) && std::isfinite(DistortionAt(b, corner)))
    remarks.push_back(
        "The distortion turns back within the image, so that its terms hold only where there are "
        "measurements: they need "
        "tie points out to the corners.");
  return remarks;
}

}  // namespace orvo::report
