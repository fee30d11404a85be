#include "report/PassedPoint.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "geometry/RaySums.h"

namespace orvo::report {
namespace {

constexpr size_t kMostAngleRays = 16;

void InCamera(const StrictRay& ray, const double* P, double* inCamera) {
  for (int k = 0; k < 3; ++k) {
    const double* C = ray.pFrame->C[k];
    inCamera[k] = C[0] * P[0] + C[1] * P[1] + C[2] * P[2] - C[3];
  }
}

/// Of length 1.
void Direction(const StrictRay& ray, double* d) {
  const auto& C = ray.pFrame->C;
  const double x = ray.Corrected.x, y = ray.Corrected.y, f = ray.fFocal;
  const double inverse = 1 / std::sqrt(x * x + y * y + f * f);
  for (int k = 0; k < 3; ++k) d[k] = (C[0][k] * x + C[1][k] * y - C[2][k] * f) * inverse;
}

}  // namespace

void PassedPoint::Take(const ObjectPointRecord& point, std::span<const ImagePointRecord> rays,
                       const PassViews& views) {
  bSolved = bInFront = bAll = bKept = false;
  nGross = 0;
  Collect(point, rays, views);
  if (!bSolved) return;
  const bool tie = point.nType == 0;
  MarkGross(tie, views);
  if (!tie) return;
  std::copy_n(P, 3, All);
  bAll = IntersectStrictly(vRays, All);
  vKept.clear();
  for (size_t i = 0; i < vRays.size(); ++i) {
    if (vGross[i] == 0) vKept.push_back(vRays[i]);
  }
  std::copy_n(All, 3, Kept);
  bKept = nGross == 0 ? bAll : IntersectStrictly(vKept, Kept);
}

void PassedPoint::Collect(const ObjectPointRecord& point, std::span<const ImagePointRecord> rays,
                          const PassViews& views) {
  vMeasurements.clear();
  vRays.clear();
  RaySums sums;
  for (const ImagePointRecord& ray : rays) {
    if (!IsOnKeptImage(ray, views.Frames.size(), views.Iop.size())) continue;
    const ImageFrame& frame = views.Frames[static_cast<size_t>(ray.nImage)];
    const IopRecord& camera = views.Iop[static_cast<size_t>(ray.nCamera)];
    const auto x = static_cast<double>(ray.x), y = static_cast<double>(ray.y);
    vMeasurements.push_back(&ray);
    vRays.push_back({&frame, camera.fFocal, CorrectMeasurement(camera, x, y)});
    if (point.nType != 1) sums.Add(frame, camera, x, y);
  }
  P[0] = point.X;
  P[1] = point.Y;
  P[2] = point.Z;
  bSolved = point.nType == 1 || (vRays.size() >= 2 && (views.IsPlaced() || SolveRaySums(sums, P)));
}

void PassedPoint::MarkGross(bool tie, const PassViews& views) {
  bInFront = true;
  vGross.assign(vRays.size(), 0);
  for (size_t i = 0; i < vRays.size(); ++i) {
    double inCamera[3];
    InCamera(vRays[i], P, inCamera);
    bInFront = bInFront && vRays[i].fFocal * inCamera[2] < 0;
    const ImageCoordinates v = ComputeImageResidual(vRays[i].fFocal, inCamera, vRays[i].Corrected);
    const bool large = std::fabs(v.x) > views.fGrossX || std::fabs(v.y) > views.fGrossY;
    const bool gross = views.IsPlaced() ? views.IsLeftOut(*vMeasurements[i]) : tie && large;
    if (gross || !std::isfinite(v.x + v.y)) {
      vGross[i] = 1;
      ++nGross;
    }
  }
}

double PassedPoint::LargestAngle() const {
  const size_t count = std::min(vKept.size(), kMostAngleRays);
  double directions[kMostAngleRays][3];
  for (size_t i = 0; i < count; ++i) Direction(vKept[i * vKept.size() / count], directions[i]);
  double least = 1;
  for (size_t i = 0; i < count; ++i) {
    for (size_t j = i + 1; j < count; ++j) {
      const double* a = directions[i];
      const double* b = directions[j];
      least = std::min(least, a[0] * b[0] + a[1] * b[1] + a[2] * b[2]);
    }
  }
  return std::acos(std::clamp(least, -1.0, 1.0)) * 180 / std::numbers::pi;
}

}  // namespace orvo::report
