#include "rigorous/BlunderSearch.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "base/Threads.h"
#include "rigorous/PointPlace.h"
#include "rigorous/Reliability.h"

namespace orvo::rigorous {
namespace {

/// Symmetric 2 x 2.
struct Cofactor {
  double xx = 0, xy = 0, yy = 0;
};

/// Of the predicted measurement by the point's own uncertainty, in variances of a measured coordinate.
Cofactor PointCofactor(const double (&point)[2][3], const PointFactor& factor, double sigma) {
  Cofactor H;
  for (int k = 0; k < 3; ++k) {
    const auto part = [&](int c) {
      return (point[c][0] * factor.Q[k] + point[c][1] * factor.Q[3 + k] + point[c][2] * factor.Q[6 + k]) /
             sigma;
    };
    const double x = part(0), y = part(1);
    H.xx += x * x;
    H.xy += x * y;
    H.yy += y * y;
  }
  return H;
}

/// v' C^-1 v over the directions in which C has more than kLeastRedundancy, and how many these are.
struct Misfit {
  double fSquare = 0;
  int nDirections = 0;
};

Misfit MisfitOf(const Cofactor& C, double x, double y) {
  const double mean = (C.xx + C.yy) / 2, half = (C.xx - C.yy) / 2, radius = std::hypot(half, C.xy);
  const double angle = std::atan2(C.xy, half) / 2, c = std::cos(angle), s = std::sin(angle);
  Misfit misfit;
  const auto add = [&misfit](double value, double v) {
    if (!(value > kLeastRedundancy)) return;
    misfit.fSquare += v * v / value;
    ++misfit.nDirections;
  };
  add(mean + radius, c * x + s * y);
  add(mean - radius, c * y - s * x);
  return misfit;
}

/// Scaled so that it is above `critical` as seldom in two directions as a normal value is in one.
double TestValue(const Misfit& misfit, double critical) {
  if (misfit.nDirections < 2 || !std::isfinite(critical)) return std::sqrt(misfit.fSquare);
  const double limit = -2 * std::log(std::erfc(critical * std::sqrt(0.5)));
  return critical * std::sqrt(misfit.fSquare / limit);
}

class Searcher {
 public:
  Searcher(const PointSurroundings& around, const BlunderLimits& limits)
      : In(around.Of), At(around.At), Limits(limits), Around(around) {}

  void Look(int64_t point, const ControlObservation* control, std::span<const OutRay> out,
            BlunderFinding& finding) {
    const std::span<const Ray> rays = In.RaysOf(point);
    LinearizePlace(Around, ObservationsOf(rays, control), At.vPoints[point], Place);
    LookAtRays(point, rays, finding);
    for (const OutRay& ray : out) LookAtOutRay(ray, finding);
  }

 private:
  void LookAtRays(int64_t point, std::span<const Ray> rays, BlunderFinding& finding);
  void LookAtOutRay(const OutRay& ray, BlunderFinding& finding);
  OutRay Describe(int64_t point, size_t k, std::span<const Ray> rays) const;

  const Problem& In;
  const Estimate& At;
  const BlunderLimits& Limits;
  const PointSurroundings& Around;
  PointPlace Place;
};

OutRay Searcher::Describe(int64_t point, size_t k, std::span<const Ray> rays) const {
  OutRay found;
  found.nRay = In.vFirstRay[point] + static_cast<int64_t>(k);
  found.nImage = rays[k].nImage;
  found.nPoint = point;
  if (Place.vWeights[k] < 0) {
    found.fW = kNotObserved;
    return found;
  }
  found.Residual = {Place.vRows[k].Residual[0], Place.vRows[k].Residual[1]};
  const double sigma = In.vCameras[In.vImages[found.nImage].nCamera].fSigma;
  const Cofactor H = PointCofactor(Place.vRows[k].Point, Place.Factor, sigma);
  const double unit = Limits.fSigma0 * sigma;
  found.fW =
      TestValue(MisfitOf({1 - H.xx, -H.xy, 1 - H.yy}, found.Residual[0] / unit, found.Residual[1] / unit),
                Limits.fCritical);
  return found;
}

void Searcher::LookAtRays(int64_t point, std::span<const Ray> rays, BlunderFinding& finding) {
  OutRay largest;
  bool wholesale = false;
  for (size_t k = 0; k < rays.size(); ++k) {
    if (rays[k].nImage < 0) continue;
    const OutRay ray = Describe(point, k, rays);
    const double sigma = In.vCameras[In.vImages[ray.nImage].nCamera].fSigma;
    const double length = std::hypot(ray.Residual[0], ray.Residual[1]) / (Limits.fSigma0 * sigma);
    if (Limits.fWholesale > 0 && (length > Limits.fWholesale || std::isinf(ray.fW))) {
      finding.vOut.push_back(ray);
      wholesale = true;
    } else if (ray.fW > largest.fW) {
      largest = ray;
    }
  }
  if (!wholesale && largest.fW > Limits.fCritical) finding.vOut.push_back(largest);
}

void Searcher::LookAtOutRay(const OutRay& ray, BlunderFinding& finding) {
  if (!Place.bInUse) return;
  const int32_t camera = In.vImages[ray.nImage].nCamera;
  const Ray& measured = In.vRays[ray.nRay];
  RayRows rows;
  const RayStatus status = LinearizeRay(At.vPoses[ray.nImage], At.vCameras[camera].LensNow,
                                        At.vPoints[ray.nPoint], {measured.x, measured.y}, In.Form, {}, rows);
  if (status != RayStatus::Good) return;
  const double sigma = In.vCameras[camera].fSigma;
  OutRay now = ray;
  now.Residual = rows.Residual;
  const Cofactor H = PointCofactor(rows.Point, Place.Factor, sigma);
  const double unit = Limits.fSigma0 * sigma;
  now.fW = TestValue(MisfitOf({1 + H.xx, H.xy, 1 + H.yy}, now.Residual[0] / unit, now.Residual[1] / unit),
                     Limits.fCritical);
  if (now.fW < Limits.fCritical) finding.vBack.push_back(now);
}

void Append(std::vector<OutRay>& to, const std::vector<OutRay>& from) {
  to.insert(to.end(), from.begin(), from.end());
}

bool IsBefore(const OutRay& a, const OutRay& b) { return a.nRay < b.nRay; }

}  // namespace

BlunderFinding SearchBlunders(const Problem& problem, const PointChunks& chunks, const Estimate& estimate,
                              std::span<const OutRay> out, const BlunderLimits& limits) {
  BlunderFinding all;
  const int threads = ParallelThreadNum(chunks.Num(), limits.nThreads);
  std::vector<BlunderFinding> parts(static_cast<size_t>(threads));
  const PointSurroundings around(problem, estimate);
  std::vector<Searcher> searchers(static_cast<size_t>(threads), Searcher(around, limits));
  const auto make = [&](int64_t chunk, int thread) {
    BlunderFinding& part = parts[static_cast<size_t>(thread)] = {};
    const int64_t first = chunks.vFirst[chunk], end = chunks.vFirst[chunk + 1];
    auto control =
        std::lower_bound(problem.vControl.begin(), problem.vControl.end(), first,
                         [](const ControlObservation& c, int64_t point) { return c.nPoint < point; });
    auto ray = std::lower_bound(out.begin(), out.end(), problem.vFirstRay[first],
                                [](const OutRay& o, int64_t r) { return o.nRay < r; });
    for (int64_t point = first; point < end; ++point) {
      const auto from = ray;
      while (ray != out.end() && ray->nRay < problem.vFirstRay[point + 1]) ++ray;
      const bool isControl = control != problem.vControl.end() && control->nPoint == point;
      searchers[static_cast<size_t>(thread)].Look(point, isControl ? &*control : nullptr, {from, ray}, part);
      if (isControl) ++control;
    }
  };
  ParallelInOrder(chunks.Num(), threads, make, [&](int64_t, int thread) {
    Append(all.vOut, parts[static_cast<size_t>(thread)].vOut);
    Append(all.vBack, parts[static_cast<size_t>(thread)].vBack);
  });
  return all;
}

void LeaveOut(const std::vector<OutRay>& rays, Problem& problem, std::vector<OutRay>& out) {
  for (const OutRay& ray : rays) problem.vRays[ray.nRay].nImage = -1;
  Append(out, rays);
  std::sort(out.begin(), out.end(), IsBefore);
}

void TakeBack(const std::vector<OutRay>& rays, Problem& problem, std::vector<OutRay>& out) {
  for (const OutRay& ray : rays) problem.vRays[ray.nRay].nImage = ray.nImage;
  std::vector<OutRay> kept;
  std::set_difference(out.begin(), out.end(), rays.begin(), rays.end(), std::back_inserter(kept), IsBefore);
  out = std::move(kept);
}

}  // namespace orvo::rigorous
