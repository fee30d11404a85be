#include "report/StrictIntersection.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvo::report {
namespace {

constexpr double kNone = std::numeric_limits<double>::infinity();
/// A step that takes away no more than this share of the sum of squares is the last one: what it leaves is
/// far less still.
constexpr double kStillShare = 1e-14;
/// So near to the end that a step is taken unseen: the sums before and behind it differ by rounding.
constexpr double kNearShare = 1e-11;
/// The same where there is hardly any sum, of the focal length squared.
constexpr double kStillFocal = 1e-26, kNearFocal = 1e-20;
/// Directions whose squared sine is less count as parallel, pivots less than this share of the trace as none.
constexpr double kSingular = 1e-14;
constexpr int kMostSteps = 60;
constexpr double kFirstDamping = 1e-4, kMostDamping = 1e8;

/// Sum of squares at a point, and the normal equations of a step from there: N with its upper triangle row by
/// row.
struct Normals {
  double fSquares = 0;
  double N[6] = {}, b[3] = {};
};

Normals NormalsAt(std::span<const StrictRay> rays, const double* P) {
  Normals sums;
  for (const StrictRay& ray : rays) {
    const auto& C = ray.pFrame->C;
    const double Xb = C[0][0] * P[0] + C[0][1] * P[1] + C[0][2] * P[2] - C[0][3];
    const double Yb = C[1][0] * P[0] + C[1][1] * P[1] + C[1][2] * P[2] - C[1][3];
    const double Zb = C[2][0] * P[0] + C[2][1] * P[1] + C[2][2] * P[2] - C[2][3];
    const double inverse = 1 / Zb, tx = Xb * inverse, ty = Yb * inverse, s = ray.fFocal * inverse;
    const double vx = ray.Corrected.x + ray.fFocal * tx, vy = ray.Corrected.y + ray.fFocal * ty;
    double a[3], e[3];
    for (int k = 0; k < 3; ++k) {
      a[k] = s * (C[0][k] - tx * C[2][k]);
      e[k] = s * (C[1][k] - ty * C[2][k]);
      sums.b[k] -= a[k] * vx + e[k] * vy;
    }
    sums.fSquares += vx * vx + vy * vy;
    sums.N[0] += a[0] * a[0] + e[0] * e[0];
    sums.N[1] += a[0] * a[1] + e[0] * e[1];
    sums.N[2] += a[0] * a[2] + e[0] * e[2];
    sums.N[3] += a[1] * a[1] + e[1] * e[1];
    sums.N[4] += a[1] * a[2] + e[1] * e[2];
    sums.N[5] += a[2] * a[2] + e[2] * e[2];
  }
  return sums;
}

/// Elimination without roots of N with its diagonal times 1 + damping. False where a pivot is none.
bool Solve(const double* N, const double* b, double damping, double* d) {
  const double grown = 1 + damping;
  const double N00 = N[0] * grown, N11 = N[3] * grown, N22 = N[5] * grown;
  const double floor = kSingular * (N00 + N11 + N22);
  const double l10 = N[1] / N00, l20 = N[2] / N00;
  const double d1 = N11 - l10 * N[1];
  const double n21 = N[4] - l20 * N[1];
  const double l21 = n21 / d1;
  const double d2 = N22 - l20 * N[2] - l21 * n21;
  // Written so that not-a-number is none, too.
  if (!(floor > 0 && N00 > floor && d1 > floor && d2 > floor)) return false;
  const double w1 = b[1] - l10 * b[0];
  const double w2 = b[2] - l20 * b[0] - l21 * w1;
  d[2] = w2 / d2;
  d[1] = w1 / d1 - l21 * d[2];
  d[0] = b[0] / N00 - l10 * d[1] - l20 * d[2];
  return std::isfinite(d[0] + d[1] + d[2]);
}

struct Descent {
  double fSquares = kNone;  ///< at the end; infinite where it led to no point
  bool bStraight = true;    ///< no step made things worse
};

/// Steps down from P to where they no longer matter.
Descent Descend(std::span<const StrictRay> rays, double* P) {
  Descent descent;
  Normals now = NormalsAt(rays, P);
  if (!std::isfinite(now.fSquares)) return descent;
  const double focal2 = rays.front().fFocal * rays.front().fFocal;
  double damping = 0;
  for (int step = 0; step < kMostSteps && damping < kMostDamping; ++step) {
    double d[3];
    bool better = false;
    if (Solve(now.N, now.b, damping, d)) {
      const double decrease = now.b[0] * d[0] + now.b[1] * d[1] + now.b[2] * d[2];
      const double moved[3] = {P[0] + d[0], P[1] + d[1], P[2] + d[2]};
      const bool last = damping == 0 && decrease <= kStillShare * now.fSquares + kStillFocal * focal2;
      if (last) {
        std::copy(moved, moved + 3, P);
        break;
      }
      const bool near = damping == 0 && decrease <= kNearShare * now.fSquares + kNearFocal * focal2;
      const Normals next = NormalsAt(rays, moved);
      better = next.fSquares < now.fSquares || (near && std::isfinite(next.fSquares));
      if (better) {
        std::copy(moved, moved + 3, P);
        now = next;
      }
    }
    if (better) {
      damping = damping > kFirstDamping ? damping / 10 : 0;
    } else {
      descent.bStraight = false;
      damping = std::max(10 * damping, kFirstDamping);
    }
  }
  double d[3];
  if (Solve(now.N, now.b, 0, d)) descent.fSquares = now.fSquares;
  return descent;
}

void Direction(const StrictRay& ray, double* d) {
  const auto& C = ray.pFrame->C;
  for (int k = 0; k < 3; ++k)
    d[k] = C[0][k] * ray.Corrected.x + C[1][k] * ray.Corrected.y - C[2][k] * ray.fFocal;
}

double SquaredLength(const double* d) { return d[0] * d[0] + d[1] * d[1] + d[2] * d[2]; }

/// Some two of them come from different images and are not parallel.
bool CanMeet(std::span<const StrictRay> rays) {
  if (rays.size() < 2) return false;
  double first[3], other[3];
  Direction(rays[0], first);
  const double length = SquaredLength(first);
  bool images = false, turned = false;
  for (const StrictRay& ray : rays.subspan(1)) {
    images = images || ray.pFrame != rays[0].pFrame;
    Direction(ray, other);
    const double across[3] = {first[1] * other[2] - first[2] * other[1],
                              first[2] * other[0] - first[0] * other[2],
                              first[0] * other[1] - first[1] * other[0]};
    turned = turned || SquaredLength(across) > kSingular * length * SquaredLength(other);
    if (images && turned) return true;
  }
  return false;
}

/// The point nearest to the rays in space.
bool NearestInSpace(std::span<const StrictRay> rays, double* P) {
  double N[6] = {}, b[3] = {};
  for (const StrictRay& ray : rays) {
    double d[3];
    Direction(ray, d);
    const double length = SquaredLength(d);
    // What is across the ray: I - d d' / |d|^2. The projection centre is the sum of the columns, each by its
    // fourth element.
    const double A[6] = {1 - d[0] * d[0] / length, -d[0] * d[1] / length, -d[0] * d[2] / length,
                         1 - d[1] * d[1] / length, -d[1] * d[2] / length, 1 - d[2] * d[2] / length};
    double S[3];
    const auto& C = ray.pFrame->C;
    for (int k = 0; k < 3; ++k) S[k] = C[0][k] * C[0][3] + C[1][k] * C[1][3] + C[2][k] * C[2][3];
    for (int k = 0; k < 6; ++k) N[k] += A[k];
    b[0] += A[0] * S[0] + A[1] * S[1] + A[2] * S[2];
    b[1] += A[1] * S[0] + A[3] * S[1] + A[4] * S[2];
    b[2] += A[2] * S[0] + A[4] * S[1] + A[5] * S[2];
  }
  return Solve(N, b, 0, P);
}

}  // namespace

ImageCoordinates StrictResidual(const StrictRay& ray, const double* P) {
  double inCamera[3];
  for (int k = 0; k < 3; ++k) {
    const double* C = ray.pFrame->C[k];
    inCamera[k] = C[0] * P[0] + C[1] * P[1] + C[2] * P[2] - C[3];
  }
  return ComputeImageResidual(ray.fFocal, inCamera, ray.Corrected);
}

bool IntersectStrictly(std::span<const StrictRay> rays, double* P) {
  if (!CanMeet(rays)) return false;
  double best[3] = {P[0], P[1], P[2]};
  Descent descent = Descend(rays, best);
  if (!descent.bStraight || !std::isfinite(descent.fSquares)) {
    // Off the beaten track there may be more than one valley.
    double other[3];
    if (NearestInSpace(rays, other)) {
      const Descent second = Descend(rays, other);
      if (second.fSquares < descent.fSquares) {
        descent = second;
        std::copy(other, other + 3, best);
      }
    }
  }
  if (!std::isfinite(descent.fSquares)) return false;
  std::copy(best, best + 3, P);
  return true;
}

}  // namespace orvo::report
