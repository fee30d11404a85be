#include "rigorous/ControlSearch.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "rigorous/ControlTest.h"
#include "rigorous/FreeDatum.h"
#include "rigorous/NodeCovariance.h"
#include "rigorous/NormalTest.h"
#include "rigorous/PointPrecision.h"

namespace orvo::rigorous {
namespace {

/// Median of the root of a chi-square sum over three directions.
constexpr double kMedianOfThree = 1.538;
/// Of two tests that are as alike, none tells which of the two points is wrong.
constexpr double kAlike = 0.98;

/// Control that is as a rule worse than stated by more than this is no control.
constexpr double kTooCommon = 5;

class ControlSearch {
 public:
  ControlSearch(Problem& problem, Adjuster& steps, Estimate& estimate, const ControlSearchOptions& options,
                std::vector<OutControl>& out)
      : In(problem), Steps(steps), Now(estimate), Options(options), Out(out) {}

  ControlFinding Run(const std::function<bool()>& adjust, const std::function<double()>& sigma0);

 private:
  struct Test {
    double fW = 0, fRoot = 0;  ///< scaled as a normal value; the root itself
    Vector3 Difference{};
    bool bKnown = false;
  };

  void Soften(double sigma0);
  void Harden();
  bool TestAll(double sigma0);
  double Commonness() const;
  std::optional<size_t> WorstWithin() const;
  bool TakeBackOne(double usual);
  bool MayGo() const;
  Vector3 SigmaOf(size_t control) const;

  Problem& In;
  Adjuster& Steps;
  Estimate& Now;
  const ControlSearchOptions& Options;
  std::vector<OutControl>& Out;
  std::vector<std::pair<size_t, Vector3>> vHeld;  ///< sigmas as they were
  std::vector<Test> vTests;                       ///< by control
  std::vector<size_t> vBack;                      ///< control that came back, and stays
};

/// Held coordinates have no residual to test. While control is searched, they are as good as their rays.
void ControlSearch::Soften(double sigma0) {
  const PointSurroundings around(In, Now);
  PointPlace place;
  for (size_t i = 0; i < In.vControl.size(); ++i) {
    ControlObservation& control = In.vControl[i];
    if (!std::ranges::any_of(control.Sigma, [](double s) { return s == 0; })) continue;
    LinearizePlace(around, ObservationsOf(In.RaysOf(control.nPoint), nullptr),
                   Now.vPoints[static_cast<size_t>(control.nPoint)], place);
    if (!place.bInUse || place.Factor.RankNum() < 3) continue;
    vHeld.emplace_back(i, control.Sigma);
    const Matrix3 Q = Multiply(place.Factor.Q, Transposed(place.Factor.Q));
    for (int k = 0; k < 3; ++k) {
      if (control.Sigma[k] == 0) control.Sigma[k] = sigma0 * std::sqrt(Q[4 * k]);
    }
  }
}

void ControlSearch::Harden() {
  for (const auto& [control, sigma] : vHeld) {
    const auto out = std::ranges::find(Out, control, &OutControl::nControl);
    (out == Out.end() ? In.vControl[control].Sigma : out->Sigma) = sigma;
  }
}

Vector3 ControlSearch::SigmaOf(size_t control) const {
  const auto out = std::ranges::find(Out, control, &OutControl::nControl);
  return out == Out.end() ? In.vControl[control].Sigma : out->Sigma;
}

/// Of all control against what is adjusted now. False where that has no precision.
bool ControlSearch::TestAll(double sigma0) {
  ReducedEquations& equations = Steps.EquationsAt(Now);
  const FreeDatum datum = FreeDatumOf(In, Steps.Plan(), Now, equations);
  const CovarianceResult covariance = CovarianceOf(Steps.Plan(), datum, equations);
  vTests.assign(In.vControl.size(), {});
  if (!covariance.Covariance) return false;
  PointPrecisionOptions options;
  options.nThreads = Options.nThreads;
  const auto placeOf = [this](int64_t point) {
    return std::ranges::lower_bound(In.vControl, point, {}, &ControlObservation::nPoint);
  };
  options.Wanted = [&](int64_t point) {
    const auto at = placeOf(point);
    return at != In.vControl.end() && at->nPoint == point;
  };
  ForEachPointPrecision(In, Steps.Plan(), Steps.Chunks(), Now, *covariance.Covariance, options,
                        [&](const PointPrecision& point) {
                          if (!point.bDetermined) return;
                          const auto at = placeOf(point.nPoint);
                          const auto i = static_cast<size_t>(at - In.vControl.begin());
                          const bool isIn = IsObserved(*at);
                          ControlObservation control = *at;
                          control.Sigma = SigmaOf(i);
                          const Vector3& place = Now.vPoints[static_cast<size_t>(point.nPoint)];
                          const double variance = sigma0 * sigma0;
                          const ControlMisfit misfit =
                              isIn ? MisfitWithin(control, place, point.Cofactor, variance)
                                   : MisfitOutside(control, place, point.Cofactor, variance);
                          if (misfit.nDirections == 0) return;
                          vTests[i] = {AsNormal(misfit.fSquare, misfit.nDirections, Options.fCritical),
                                       std::sqrt(misfit.fSquare), misfit.Difference, true};
                        });
  return true;
}

/// How many times as far off as stated the control in use is as a rule, and at least 1.
double ControlSearch::Commonness() const {
  std::vector<double> roots;
  for (size_t i = 0; i < vTests.size(); ++i) {
    if (vTests[i].bKnown && IsObserved(In.vControl[i])) roots.push_back(vTests[i].fRoot);
  }
  if (roots.size() < 3) return 1;
  const auto middle = roots.begin() + std::ssize(roots) / 2;
  std::nth_element(roots.begin(), middle, roots.end());
  return std::max(1.0, *middle / kMedianOfThree);
}

/// The control in use that is farthest off, if it is beyond what is critical, and clearly that one.
std::optional<size_t> ControlSearch::WorstWithin() const {
  size_t worst = 0;
  double most = 0, next = 0;
  for (size_t i = 0; i < vTests.size(); ++i) {
    if (!IsObserved(In.vControl[i]) || !(vTests[i].fW > next)) continue;
    next = vTests[i].fW;
    if (next > most) {
      worst = i;
      std::swap(most, next);
    }
  }
  const bool isKept = std::ranges::find(vBack, worst) != vBack.end();
  if (!(most > Options.fCritical) || next > kAlike * most || isKept) return std::nullopt;
  return worst;
}

/// Puts back the point that fits best of those that were set aside, if it fits.
bool ControlSearch::TakeBackOne(double usual) {
  std::optional<size_t> best;
  for (size_t place = 0; place < Out.size(); ++place) {
    const Test& test = vTests[Out[place].nControl];
    if (!test.bKnown) continue;
    Out[place].fW = test.fW;
    Out[place].Difference = test.Difference;
    if (!(test.fW < Options.fCritical * usual)) continue;
    if (!best || test.fW < Out[*best].fW) best = place;
  }
  if (!best) return false;
  vBack.push_back(Out[*best].nControl);
  PutBack(*best, In, Out);
  return true;
}

bool ControlSearch::MayGo() const {
  const auto observed = std::ranges::count_if(
      In.vControl, [](const ControlObservation& control) { return IsObserved(control); });
  return observed > 3 && 2 * (std::ssize(Out) + 1) < observed + std::ssize(Out) + 1;
}

ControlFinding ControlSearch::Run(const std::function<bool()>& adjust,
                                  const std::function<double()>& sigma0) {
  ControlFinding finding;
  Soften(sigma0());
  const size_t rounds = 2 * In.vControl.size() + 2;
  for (size_t round = 0; round < rounds && adjust(); ++round) {
    if (!TestAll(sigma0())) break;
    finding.bContradictory = Commonness() > kTooCommon;
    if (TakeBackOne(Commonness())) continue;
    const std::optional<size_t> worst = WorstWithin();
    if (!worst) break;
    if (!MayGo()) {
      finding.bContradictory = true;
      while (!Out.empty()) PutBack(0, In, Out);
      break;
    }
    const Test& test = vTests[*worst];
    const ControlObservation& control = In.vControl[*worst];
    SetAside({*worst, control.nPoint, control.Sigma, test.Difference, test.fW}, In, Out);
  }
  Harden();
  return finding;
}

}  // namespace

ControlFinding SearchControl(Problem& problem, Adjuster& steps, Estimate& estimate,
                             const ControlSearchOptions& options, const std::function<bool()>& adjust,
                             const std::function<double()>& sigma0, std::vector<OutControl>& out) {
  return ControlSearch(problem, steps, estimate, options, out).Run(adjust, sigma0);
}

}  // namespace orvo::rigorous
