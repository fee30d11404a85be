#include "rigorous/PointStep.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "rigorous/PointIntersection.h"

namespace orvo::rigorous {
namespace {

/// Of the cost: less can't be told from the rounding of its residuals.
constexpr double kLeastDecrease = 1e-12;
/// Of the diagonal: turns a step from what is known badly to what is known well.
constexpr double kDamping = 0.1;
constexpr double kShortest = 0.1, kLongest = 0.5;

bool IsFinite(const Vector3& a) { return std::isfinite(a[0] + a[1] + a[2]); }

/// With the cost c(t) after t steps and c'(0) = -2 decrease: where the parabola through c(0), c'(0) and c(1)
/// has its minimum.
double ShareOf(double before, double after, double decrease) {
  const double curvature = after - before + 2 * decrease;
  return curvature > 0 ? std::clamp(decrease / curvature, kShortest, kLongest) : kLongest;
}

}  // namespace

const PointPlace& PointStepper::Settle(const PointObservations& point, const Vector3& old) {
  const Vector3 start = point.Started(old);
  LinearizePlace(*pAround, point, start, Best);
  const bool isPlace = IsFinite(start);
  const bool isUnseen = Best.nUnseen > 0, isStuck = isPlace && !Improve(point, Best);
  if (!Options.bIntersect && isPlace && !isUnseen && !isStuck) return Best;
  const std::optional<Vector3> met = IntersectionOf(*pAround, point);
  if (!met) return Best;
  LinearizePlace(*pAround, point, *met, Other);
  Improve(point, Other);
  if (!isPlace || IsBetter(Other, Best)) std::swap(Best, Other);
  return Best;
}

/// False where a step is due and none makes the place better.
bool PointStepper::Improve(const PointObservations& point, PointPlace& place) {
  for (int32_t i = 0; i < Options.nSteps; ++i) {
    const double ofSeen = place.fCost - place.nUnseen * kUnseenCost;
    if (!(place.Decrease() > kLeastDecrease * ofSeen)) return true;
    const Vector3 step = Multiply(place.Factor.Q, place.Reduced);
    if (Try(point, place.Point + step, place)) return true;
    if (!TakeShorter(point, step, place)) return false;
  }
  return true;
}

/// After a trial of the whole step.
bool PointStepper::TakeShorter(const PointObservations& point, const Vector3& step, PointPlace& place) {
  const double share =
      Trial.nUnseen > place.nUnseen ? kShortest : ShareOf(place.fCost, Trial.fCost, place.Decrease());
  if (Try(point, place.Point + share * step, place)) return true;
  PointMatrix damped = place.M;
  for (const int diagonal : {0, 3, 5}) damped[diagonal] *= 1 + kDamping;
  const Matrix3& Q = FactorOf(damped, point.IsHeld).Q;
  return Try(point, place.Point + Multiply(Q, MultiplyTransposed(Q, place.n)), place);
}

bool PointStepper::Try(const PointObservations& point, const Vector3& at, PointPlace& place) {
  LinearizePlace(*pAround, point, at, Trial);
  if (!IsBetter(Trial, place)) return false;
  std::swap(Trial, place);
  return true;
}

}  // namespace orvo::rigorous
