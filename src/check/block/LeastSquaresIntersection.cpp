#include "check/block/LeastSquaresIntersection.h"

#include <algorithm>
#include <cmath>

namespace orvo {
namespace {

using Vector = std::array<double, 3>;

/// Symmetric normal equations N p = n.
struct PointEquations {
  double N[6] = {};  ///< xx xy xz yy yz zz
  Vector n{};

  void Add(const Vector& a, double b, double weight) {
    N[0] += weight * a[0] * a[0];
    N[1] += weight * a[0] * a[1];
    N[2] += weight * a[0] * a[2];
    N[3] += weight * a[1] * a[1];
    N[4] += weight * a[1] * a[2];
    N[5] += weight * a[2] * a[2];
    for (size_t k = 0; k < 3; ++k) n[k] += weight * a[k] * b;
  }

  std::optional<Vector> Solve() const {
    const double c00 = N[3] * N[5] - N[4] * N[4], c01 = N[2] * N[4] - N[1] * N[5];
    const double c02 = N[1] * N[4] - N[2] * N[3];
    const double determinant = N[0] * c00 + N[1] * c01 + N[2] * c02;
    const double size = (N[0] + N[3] + N[5]) / 3;
    if (!(determinant > 1e-13 * size * size * size)) return std::nullopt;
    const double c11 = N[0] * N[5] - N[2] * N[2], c12 = N[1] * N[2] - N[0] * N[4];
    const double c22 = N[0] * N[3] - N[1] * N[1];
    return Vector{(c00 * n[0] + c01 * n[1] + c02 * n[2]) / determinant,
                  (c01 * n[0] + c11 * n[1] + c12 * n[2]) / determinant,
                  (c02 * n[0] + c12 * n[1] + c22 * n[2]) / determinant};
  }
};

Vector MeanCentre(std::span<const SightRay> rays) {
  Vector mean{};
  for (const SightRay& ray : rays) {
    for (size_t k = 0; k < 3; ++k) mean[k] += ray.S[k] / static_cast<double>(rays.size());
  }
  return mean;
}

/// R' (P - S), with P and S off `origin`.
Vector InCamera(const SightRay& ray, const Vector& p, const Vector& origin) {
  const Vector d{p[0] + origin[0] - ray.S[0], p[1] + origin[1] - ray.S[1], p[2] + origin[2] - ray.S[2]};
  Vector result{};
  for (size_t k = 0; k < 3; ++k) result[k] = ray.R[k] * d[0] + ray.R[3 + k] * d[1] + ray.R[6 + k] * d[2];
  return result;
}

/// Measurement less projection, of a point in the camera.
std::array<double, 2> ResidualOf(const SightRay& ray, const Vector& b) {
  return {ray.f * b[0] / b[2] + ray.x, ray.f * b[1] / b[2] + ray.y};
}

/// f Xb + x Zb = 0 and f Yb + y Zb = 0 as equations of p, each times a root of `weight`.
void AddRay(const SightRay& ray, const Vector& origin, double weight, PointEquations& equations) {
  const auto& R = ray.R;
  const Vector s{ray.S[0] - origin[0], ray.S[1] - origin[1], ray.S[2] - origin[2]};
  for (const bool second : {false, true}) {
    const size_t column = second ? 1 : 0;
    const double coordinate = second ? ray.y : ray.x;
    Vector a{};
    for (size_t k = 0; k < 3; ++k) a[k] = ray.f * R[3 * k + column] + coordinate * R[3 * k + 2];
    equations.Add(a, a[0] * s[0] + a[1] * s[1] + a[2] * s[2], weight);
  }
}

}  // namespace

std::optional<RayIntersection> IntersectLeastSquares(std::span<const SightRay> rays) {
  if (rays.size() < 2) return std::nullopt;
  const Vector origin = MeanCentre(rays);
  std::optional<Vector> p;
  for (int round = 0; round < 4; ++round) {
    PointEquations equations;
    for (const SightRay& ray : rays) {
      double weight = 1 / (ray.f * ray.f + ray.x * ray.x + ray.y * ray.y);
      if (p) {
        const Vector b = InCamera(ray, *p, origin);
        const double distance2 = b[0] * b[0] + b[1] * b[1] + b[2] * b[2];
        weight = 1 / std::max(b[2] * b[2], 1e-4 * distance2);
      }
      if (std::isfinite(weight)) AddRay(ray, origin, weight, equations);
    }
    p = equations.Solve();
    if (!p) return std::nullopt;
  }
  RayIntersection result;
  double squares = 0;
  for (const SightRay& ray : rays) {
    const Vector b = InCamera(ray, *p, origin);
    const auto [vx, vy] = ResidualOf(ray, b);
    squares += vx * vx + vy * vy;
    result.dDepth -= b[2] / static_cast<double>(rays.size());
    if (b[2] > 0) ++result.nBehind;
  }
  result.nRays = static_cast<int>(rays.size());
  result.dRms = std::sqrt(squares / result.nRays);
  for (size_t k = 0; k < 3; ++k) result.P[k] = (*p)[k] + origin[k];
  result.bAbove = (*p)[2] > 0;
  if (!std::isfinite(result.dRms) || !std::isfinite(result.P[0] + result.P[1] + result.P[2]))
    return std::nullopt;
  return result;
}

double MissOf(const SightRay& ray, const std::array<double, 3>& P) {
  const Vector b = InCamera(ray, P, {});
  if (!(b[2] < 0)) return HUGE_VAL;
  const auto [vx, vy] = ResidualOf(ray, b);
  return std::hypot(vx, vy);
}

}  // namespace orvo
