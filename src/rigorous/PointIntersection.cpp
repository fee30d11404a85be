#include "rigorous/PointIntersection.h"

#include <algorithm>
#include <cmath>

namespace orvo::rigorous {
namespace {

/// The square of about a thousandth: rays at a smaller angle meet anywhere, by the errors of their
/// measurements.
constexpr double kLeastPivot = 1e-6;

bool IsFinite(const Vector3& a) { return std::isfinite(a[0] + a[1] + a[2]); }

Vector3 DirectionOf(const ImagePose& pose, const Lens& lens, const Ray& ray) {
  const Vector2 q = CorrectedBy(lens, {static_cast<double>(ray.x), static_cast<double>(ray.y)});
  const Vector3 direction = Multiply(pose.R, Vector3{q[0], q[1], -lens.f});
  return 1 / Norm(direction) * direction;
}

/// sum (I - d d') dP = sum (I - d d') s, everything off one origin.
struct Misses {
  PointMatrix M{};
  Vector3 n{};

  void Add(const Vector3& d, const Vector3& s) {
    const double along = d[0] * s[0] + d[1] * s[1] + d[2] * s[2];
    const PointMatrix across = {1 - d[0] * d[0], -d[0] * d[1], -d[0] * d[2],
                                1 - d[1] * d[1], -d[1] * d[2], 1 - d[2] * d[2]};
    for (int k = 0; k < 6; ++k) M[k] += across[k];
    n = n + (s - along * d);
  }
};

}  // namespace

std::optional<Vector3> IntersectionOf(const PointSurroundings& around, const PointObservations& point) {
  std::array<bool, 3> isHeld{};
  for (int k = 0; k < 3; ++k) isHeld[k] = point.IsObserved(k);
  const auto first = std::ranges::find_if(point.Rays, [](const Ray& ray) { return ray.nImage >= 0; });
  if (first == point.Rays.end()) return {};
  // Small numbers: observed coordinates, and else those of the first centre, are the origin.
  Vector3 origin = around.At.vPoses[static_cast<size_t>(first->nImage)].Centre;
  for (int k = 0; k < 3; ++k) {
    if (isHeld[k]) origin[k] = point.Observed[k];
  }
  Misses misses;
  for (const Ray& ray : point.Rays) {
    if (ray.nImage < 0) continue;
    const ImagePose& pose = around.At.vPoses[static_cast<size_t>(ray.nImage)];
    const int32_t camera = around.Of.vImages[static_cast<size_t>(ray.nImage)].nCamera;
    const Vector3 d = DirectionOf(pose, around.At.vCameras[static_cast<size_t>(camera)].LensNow, ray);
    const Vector3 s = pose.Centre - origin;
    if (IsFinite(d) && IsFinite(s)) misses.Add(d, s);
  }
  const PointFactor factor = FactorOf(misses.M, isHeld, kLeastPivot);
  for (int k = 0; k < 3; ++k) {
    if (!isHeld[k] && !factor.IsDetermined[k]) return {};
  }
  const Vector3 place = origin + Multiply(factor.Q, MultiplyTransposed(factor.Q, misses.n));
  if (!IsFinite(place)) return {};
  return place;
}

}  // namespace orvo::rigorous
