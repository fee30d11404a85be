#include "rigorous/ControlStart.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "geometry/RobustSimilarity.h"
#include "rigorous/PointIntersection.h"
#include "rigorous/PointPlace.h"

namespace orvo::rigorous {
namespace {

constexpr size_t kLeastControl = 6;
/// Times what the others are off, each coordinate: starts are off by systematic parts too, bends among them.
constexpr double kGross = 8;
/// Times what the rays of the point themselves may be off, by what all rays are off at the start: points on
/// two of them can be far off by a poor start alone.
constexpr double kBeyondRays = 20;

struct Pairs {
  std::vector<size_t> vControl;  ///< in Problem::vControl
  std::vector<Position3> vRays, vGiven;
  std::vector<double> vDeviation;  ///< of the places by rays
};

Pairs PairsOf(const Problem& problem, const Estimate& estimate, double sigma0) {
  Pairs pairs;
  PointPlace place;
  const PointSurroundings around(problem, estimate);
  for (size_t i = 0; i < problem.vControl.size(); ++i) {
    const ControlObservation& control = problem.vControl[i];
    const bool isKnown =
        std::ranges::all_of(control.Sigma, [](double s) { return s >= 0 && std::isfinite(s); });
    if (!isKnown || !std::ranges::all_of(control.Observed, [](double x) { return std::isfinite(x); }))
      continue;
    const auto met = IntersectionOf(around, ObservationsOf(problem.RaysOf(control.nPoint), nullptr));
    if (!met || !std::isfinite(Norm(*met))) continue;
    LinearizePlace(around, ObservationsOf(problem.RaysOf(control.nPoint), nullptr), *met, place);
    if (!place.bInUse || place.Factor.RankNum() < 3) continue;
    double cofactor = 0;
    for (const double q : place.Factor.Q) cofactor += q * q;
    pairs.vDeviation.push_back(sigma0 * std::sqrt(cofactor));
    pairs.vControl.push_back(i);
    pairs.vRays.push_back(*met);
    pairs.vGiven.push_back(control.Observed);
  }
  return pairs;
}

Pairs Marked(const Pairs& pairs, const std::vector<bool>& marks) {
  Pairs chosen;
  for (size_t i = 0; i < marks.size(); ++i) {
    if (!marks[i]) continue;
    chosen.vControl.push_back(pairs.vControl[i]);
    chosen.vRays.push_back(pairs.vRays[i]);
    chosen.vGiven.push_back(pairs.vGiven[i]);
    chosen.vDeviation.push_back(pairs.vDeviation[i]);
  }
  return chosen;
}

bool IsFixedElsewhere(const Problem& problem) {
  return std::ranges::any_of(problem.vImages, [](const ImageModel& image) {
    return !image.bUnknown || std::isfinite(image.GpsSigma[0]) || std::isfinite(image.GpsSigma[2]);
  });
}

void Move(const FrameTransform& transform, Estimate& estimate) {
  for (ImagePose& pose : estimate.vPoses) {
    pose.Centre = Apply(transform, pose.Centre);
    pose.R = Multiply(transform.R, pose.R);
  }
  for (Vector3& point : estimate.vPoints) point = Apply(transform, point);
}

/// The similarity of the marked pairs, and how far each coordinate of them is off.
struct Fit {
  FrameTransform Transform;
  double fSpread = 0;
};

std::optional<Fit> FitOf(const Pairs& pairs) {
  const std::optional<FrameTransform> transform = FitSimilarity(pairs.vRays, pairs.vGiven);
  const double redundancy = 3.0 * static_cast<double>(pairs.vRays.size()) - 7;
  if (!transform || !(redundancy > 0)) return std::nullopt;
  double squares = 0;
  for (const double d : DistancesAfter(*transform, pairs.vRays, pairs.vGiven)) squares += d * d;
  return Fit{*transform, std::sqrt(squares / redundancy)};
}

/// Two thirds of the pairs, nearest first, are sound whatever they are like.
std::vector<bool> NearestOf(const std::vector<double>& distances) {
  std::vector<double> sorted = distances;
  std::ranges::sort(sorted);
  const double limit = sorted[sorted.size() - sorted.size() / 3 - 1];
  std::vector<bool> nearest;
  nearest.reserve(distances.size());
  for (const double d : distances) nearest.push_back(d <= limit);
  return nearest;
}

struct Agreement {
  FrameTransform Transform;
  std::vector<bool> Fits;  ///< by pair
};

/// Empty where all pairs fit, and where they tell nothing.
std::optional<Agreement> AgreementOf(const Pairs& pairs) {
  const std::optional<RobustFit> robust = FitRobustSimilarity(pairs.vRays, pairs.vGiven);
  if (!robust || robust->bLevel) return std::nullopt;
  Agreement agreement;
  agreement.Fits = NearestOf(DistancesAfter(robust->Transform, pairs.vRays, pairs.vGiven));
  for (int round = 0; round < 2; ++round) {
    const std::optional<Fit> fit = FitOf(Marked(pairs, agreement.Fits));
    if (!fit) return std::nullopt;
    agreement.Transform = fit->Transform;
    const std::vector<double> distances = DistancesAfter(fit->Transform, pairs.vRays, pairs.vGiven);
    for (size_t i = 0; i < distances.size(); ++i) {
      const double rays = fit->Transform.fScale * pairs.vDeviation[i];
      agreement.Fits[i] = !(distances[i] > std::max(kGross * fit->fSpread, kBeyondRays * rays));
    }
  }
  const auto gross = static_cast<size_t>(std::ranges::count(agreement.Fits, false));
  if (gross == 0 || 3 * gross > pairs.vControl.size()) return std::nullopt;
  return agreement;
}

}  // namespace

std::vector<OutControl> SetGrossControlAside(Problem& problem, Estimate& estimate, double sigma0) {
  std::vector<OutControl> out;
  const Pairs pairs = PairsOf(problem, estimate, sigma0);
  if (pairs.vControl.size() < kLeastControl) return out;
  const std::optional<Agreement> agreement = AgreementOf(pairs);
  if (!agreement) return out;
  for (size_t i = 0; i < agreement->Fits.size(); ++i) {
    if (agreement->Fits[i]) continue;
    const ControlObservation& control = problem.vControl[pairs.vControl[i]];
    OutControl gross{pairs.vControl[i], control.nPoint, control.Sigma, {}, kNotObserved};
    gross.Difference = control.Observed - Apply(agreement->Transform, pairs.vRays[i]);
    SetAside(gross, problem, out);
  }
  if (!IsFixedElsewhere(problem)) Move(agreement->Transform, estimate);
  return out;
}

}  // namespace orvo::rigorous
