#include "rigorous/BlunderSearch.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>

#include "base/Threads.h"
#include "rigorous/ControlTest.h"
#include "rigorous/NormalTest.h"
#include "rigorous/PointPlace.h"
#include "rigorous/PointStep.h"
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

/// Scales tests where no limit is set.
constexpr double kUsualCritical = 3.29;

/// Of two rays that see all of an error, one and the control are to blame as much; rounding does not decide.
constexpr double kClearly = 1.001;

/// Steps of a point that has too few rays in use to have stood anywhere.
constexpr int32_t kPointSteps = 10;

class Searcher {
 public:
  Searcher(const PointSurroundings& around, const BlunderLimits& limits)
      : In(around.Of),
        At(around.At),
        Limits(limits),
        Around(around),
        fCritical(std::isfinite(limits.fCritical) ? limits.fCritical : kUsualCritical),
        fPlaneScale(AsNormal(1, 2, fCritical)) {}

  void Look(int64_t point, const ControlObservation* control, std::span<const OutRay> out,
            BlunderFinding& finding);

 private:
  void LookAtRays(int64_t point, std::span<const Ray> rays, BlunderFinding& finding);
  void LookAtControlPoint(const ControlObservation& control, std::span<const Ray> rays,
                          BlunderFinding& finding);
  double LengthOf(const OutRay& ray) const;
  double TestOf(const ControlObservation& control, std::span<const Ray> rays, int64_t point) const;
  void LookAtOutRay(const OutRay& ray, BlunderFinding& finding) const;
  bool ComesBack(int64_t point, std::span<const OutRay> out, BlunderFinding& finding);
  OutRay Describe(int64_t point, size_t k, std::span<const Ray> rays) const;
  double AsTest(const Misfit& misfit) const {
    return (misfit.nDirections < 2 ? 1 : fPlaneScale) * std::sqrt(misfit.fSquare);
  }
  double BackLimit() const { return Limits.fBack < 0 ? Limits.fCritical : Limits.fBack; }

  const Problem& In;
  const Estimate& At;
  const BlunderLimits& Limits;
  const PointSurroundings& Around;
  double fCritical, fPlaneScale;
  PointPlace Place;
};

void Searcher::Look(int64_t point, const ControlObservation* control, std::span<const OutRay> out,
                    BlunderFinding& finding) {
  const std::span<const Ray> rays = In.RaysOf(point);
  LinearizePlace(Around, ObservationsOf(rays, control), At.vPoints[point], Place);
  if (!out.empty() && !Place.bInUse) {
    if (ComesBack(point, out, finding)) return;
    // What is left of such a point has no residual, and goes too: nobody can tell which was wrong.
    LinearizePlace(Around, ObservationsOf(rays, control), At.vPoints[point], Place);
  } else {
    for (const OutRay& ray : out) LookAtOutRay(ray, finding);
  }
  if (control != nullptr && std::isfinite(Limits.fControlCritical)) {
    LookAtControlPoint(*control, rays, finding);
  } else {
    LookAtRays(point, rays, finding);
  }
}

/// At the place of the point that `rays` made.
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
      AsTest(MisfitOf({1 - H.xx, -H.xy, 1 - H.yy}, found.Residual[0] / unit, found.Residual[1] / unit));
  return found;
}

/// |w| of a control point against its rays; 0 where they tell nothing of it.
double Searcher::TestOf(const ControlObservation& control, std::span<const Ray> rays, int64_t point) const {
  const std::optional<ControlMisfit> misfit =
      MisfitAtRays(Around, rays, control, At.vPoints[point], Limits.fSigma0 * Limits.fSigma0);
  return misfit ? AsNormal(misfit->fSquare, misfit->nDirections, fCritical) : 0;
}

double Searcher::LengthOf(const OutRay& ray) const {
  const double sigma = In.vCameras[In.vImages[ray.nImage].nCamera].fSigma;
  return std::hypot(ray.Residual[0], ray.Residual[1]) / (Limits.fSigma0 * sigma);
}

void Searcher::LookAtRays(int64_t point, std::span<const Ray> rays, BlunderFinding& finding) {
  OutRay largest;
  const size_t before = finding.vOut.size();
  for (size_t k = 0; k < rays.size(); ++k) {
    if (rays[k].nImage < 0) continue;
    const OutRay ray = Describe(point, k, rays);
    if (Limits.fWholesale > 0 && (LengthOf(ray) > Limits.fWholesale || std::isinf(ray.fW))) {
      finding.vOut.push_back(ray);
    } else if (ray.fW > largest.fW) {
      largest = ray;
    }
  }
  if (finding.vOut.size() == before && largest.fW > Limits.fCritical) finding.vOut.push_back(largest);
}

/// One at a time, for a wrong point makes all of its rays look wrong, and one wrong ray the point.
void Searcher::LookAtControlPoint(const ControlObservation& control, std::span<const Ray> rays,
                                  BlunderFinding& finding) {
  const int64_t point = control.nPoint;
  std::vector<Ray> left(rays.begin(), rays.end());
  PointStepper stepper(Around, {kPointSteps, false});
  for (size_t round = 0; round <= rays.size(); ++round) {
    std::optional<OutRay> worst;
    double mostTest = 0;
    for (size_t k = 0; k < left.size(); ++k) {
      if (left[k].nImage < 0) continue;
      const OutRay ray = Describe(point, k, left);
      if (std::isfinite(ray.fW)) mostTest = std::max(mostTest, ray.fW);
      const bool isGross = Limits.fWholesale > 0 ? LengthOf(ray) > Limits.fWholesale || std::isinf(ray.fW)
                                                 : ray.fW > Limits.fCritical;
      if (isGross && (!worst || ray.fW > worst->fW)) worst = ray;
    }
    const double test = TestOf(control, left, point);
    if (test > Limits.fControlCritical && test > kClearly * mostTest) {
      finding.vControl.push_back({static_cast<size_t>(&control - In.vControl.data()), test});
      return;
    }
    if (!worst) return;
    finding.vOut.push_back(*worst);
    if (!(Limits.fWholesale > 0)) return;
    left[static_cast<size_t>(worst->nRay - In.vFirstRay[point])].nImage = -1;
    Place = stepper.Settle(ObservationsOf(left, &control), At.vPoints[point]);
  }
}

void Searcher::LookAtOutRay(const OutRay& ray, BlunderFinding& finding) const {
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
  now.fW = AsTest(MisfitOf({1 + H.xx, H.xy, 1 + H.yy}, now.Residual[0] / unit, now.Residual[1] / unit));
  if (now.fW < BackLimit()) finding.vBack.push_back(now);
}

/// All rays of a point that has fewer than two in use: they come back together, or not.
bool Searcher::ComesBack(int64_t point, std::span<const OutRay> out, BlunderFinding& finding) {
  const std::span<const Ray> used = In.RaysOf(point);
  std::vector<Ray> rays(used.begin(), used.end());
  for (const OutRay& ray : out) rays[static_cast<size_t>(ray.nRay - In.vFirstRay[point])].nImage = ray.nImage;
  PointStepper stepper(Around, {kPointSteps, true});
  Place = stepper.Settle(ObservationsOf(rays, nullptr), At.vPoints[point]);
  std::vector<OutRay> back;
  for (size_t k = 0; k < rays.size() && Place.bInUse; ++k) {
    if (rays[k].nImage < 0) continue;
    const OutRay ray = Describe(point, k, rays);
    if (!(ray.fW < BackLimit())) return false;
    if (used[k].nImage < 0) back.push_back(ray);
  }
  finding.vBack.insert(finding.vBack.end(), back.begin(), back.end());
  return Place.bInUse;
}

template <class T>
void Append(std::vector<T>& to, const std::vector<T>& from) {
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
    Append(all.vControl, parts[static_cast<size_t>(thread)].vControl);
  });
  return all;
}

std::vector<ControlDoubt> DoubtedControl(const Problem& problem, const Estimate& estimate,
                                         const BlunderLimits& limits) {
  const PointSurroundings around(problem, estimate);
  Searcher searcher(around, limits);
  BlunderFinding finding;
  for (const ControlObservation& control : problem.vControl)
    searcher.Look(control.nPoint, &control, {}, finding);
  return finding.vControl;
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
