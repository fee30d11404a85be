#include "rigorous/RobustAdjust.h"

#include <algorithm>
#include <cmath>

#include "rigorous/ControlSearch.h"
#include "rigorous/ControlStart.h"
#include "rigorous/NormalTest.h"
#include "rigorous/ResidualSpread.h"

namespace orvo::rigorous {
namespace {

/// Iterations of plain least squares before anything is judged: from a fair start without gross errors that
/// is all it takes.
constexpr int32_t kFirstIterations = 3;
/// Of Welsch losses, in standard deviations of the residuals: what is beyond has no pull.
constexpr double kLastScale = 5;
/// Of Huber losses that were asked for.
constexpr double kHuberScale = 2;
/// Where the scale begins, against what half of the rays lie within.
constexpr double kFirstScale = 40;
/// Of the root mean square at the start against what the median tells: beyond, errors are far larger than
/// what the start is off.
constexpr double kFarRatio = 1.5;
/// Of the losses then, against what the median tells.
constexpr double kStartScale = 6;
/// With the last scale: the rest comes by least squares.
constexpr int32_t kLastScaleIterations = 2;
constexpr int32_t kSnoopingPasses = 6;
/// Probability that among all measurements without gross error one is taken for one.
constexpr double kFalseAlarm = 0.05;

/// The same for control points, which nobody leaves out lightly.
constexpr double kFalseControl = 1e-3;
/// Iterations after a control point was set aside or put back.
constexpr int32_t kControlIterations = 2;
constexpr int32_t kControlSearches = 3;

class RobustAdjustment {
 public:
  RobustAdjustment(Problem& problem, const RobustOptions& options, Estimate& estimate,
                   const IterationObserver& observer)
      : In(problem), Options(options), Now(estimate), Observer(observer), Steps(problem, options.Steps) {}

  RobustResult Run();

 private:
  bool Stage(const RobustLoss& loss, int32_t iterations);
  ResidualSpread Spread() const { return SpreadOfResiduals(In, Steps.Chunks(), Now, Options.Steps.nThreads); }
  bool Begin();
  bool HalveScale(int32_t iterations);
  bool Graduate();
  bool IsControlWorst();
  bool SearchForControl();
  void Snoop();
  bool SnoopOnce();
  void RateWhatIsOut();
  void KeepBlunders(std::vector<OutRay>& found) const;
  BlunderLimits Limits(double sigma0) const;
  int32_t Left() const {
    return Options.Steps.nMaxIterations - static_cast<int32_t>(std::ssize(Result.vIterations));
  }
  bool IsOver() const {
    const AdjustEnd end = Result.Last.End;
    return end == AdjustEnd::Cancelled || end == AdjustEnd::NotFinite || end == AdjustEnd::NoRedundancy ||
           end == AdjustEnd::NotSolvable;
  }

  Problem& In;
  const RobustOptions& Options;
  Estimate& Now;
  const IterationObserver& Observer;
  Adjuster Steps;
  std::vector<int64_t> vTakenBack;  ///< rays, ascending: what goes again after that stays out
  int32_t nControlSearches = 0;
  RobustResult Result;
};

/// False where nothing can follow.
bool RobustAdjustment::Stage(const RobustLoss& loss, int32_t iterations) {
  Result.Last = Steps.Run(Now, loss, std::min(iterations, Left()), [this](const AdjustIteration& line) {
    Result.vIterations.push_back(line);
    AdjustIteration& last = Result.vIterations.back();
    last.nIteration = static_cast<int32_t>(std::ssize(Result.vIterations));
    return !Observer || Observer(last);
  });
  return !IsOver() && Left() > 0;
}

/// Iterations before anything is judged: plain ones, unless errors of hundreds of pixels speak from the start
/// itself, of which one step of least squares would leave nothing in its place.
bool RobustAdjustment::Begin() {
  const ResidualSpread spread = Spread();
  const double sigma = spread.RobustSigma();
  if (Options.Form != RobustForm::Auto || !(spread.RootMeanSquare() > kFarRatio * sigma))
    return Stage({}, kFirstIterations);
  for (int32_t i = 0; i < kFirstIterations; ++i) {
    if (!Stage({LossForm::Welsch, kStartScale * std::max(Spread().RobustSigma(), 1.0)}, 1)) return false;
  }
  return true;
}

/// Welsch losses with a scale that is halved down to kLastScale, and `iterations` with that.
bool RobustAdjustment::HalveScale(int32_t iterations) {
  ResidualSpread spread = Spread();
  double scale = std::max(kFirstScale * spread.RobustSigma(), 2 * kLastScale);
  while (scale > kLastScale * std::max(spread.RobustSigma(), 1e-3)) {
    if (!Stage({LossForm::Welsch, scale}, 1)) return false;
    spread = Spread();
    // A step that was not taken has changed nothing that a smaller scale could rest on.
    if (Result.vIterations.back().bAccepted) scale /= 2;
  }
  return Stage({LossForm::Welsch, kLastScale * std::max(spread.RobustSigma(), 1e-3)}, iterations);
}

bool RobustAdjustment::Graduate() {
  Result.bGraduated = true;
  if (!HalveScale(kLastScaleIterations)) return false;
  BlunderLimits limits = Limits(Spread().RobustSigma());
  limits.fCritical = kNotObserved;
  limits.fWholesale = kLastScale;
  limits.fControlCritical = std::max(limits.fControlCritical, kLastScale);
  const BlunderFinding found = SearchBlunders(In, Steps.Chunks(), Now, {}, limits);
  LeaveOut(found.vOut, In, Result.vOut);
  return found.vControl.empty() ? Stage({}, 1) : SearchForControl();
}

BlunderLimits RobustAdjustment::Limits(double sigma0) const {
  BlunderLimits limits;
  limits.fCritical = Options.fCritical;
  const double control = static_cast<double>(std::max<size_t>(In.vControl.size(), 1));
  limits.fControlCritical = std::max(Options.fCritical, TwoSidedCritical(kFalseControl / control));
  limits.fSigma0 = sigma0 > 0 ? sigma0 : 1;
  limits.nThreads = Options.Steps.nThreads;
  return limits;
}

/// Whether a control point contradicts its rays more than any ray contradicts its point.
bool RobustAdjustment::IsControlWorst() {
  if (In.vControl.empty()) return false;
  const BlunderLimits limits = Limits(Spread().RobustSigma());
  double control = 0, rays = 0;
  for (const ControlDoubt& doubt : DoubtedControl(In, Now, limits)) control = std::max(control, doubt.fW);
  if (control == 0) return false;
  for (const OutRay& ray : SearchBlunders(In, Steps.Chunks(), Now, Result.vOut, limits).vOut) {
    if (std::isfinite(ray.fW)) rays = std::max(rays, ray.fW);
  }
  return control > rays;
}

/// False where nothing can follow.
bool RobustAdjustment::SearchForControl() {
  if (nControlSearches++ >= kControlSearches) return Stage({}, 1);
  bool goes = true;
  const auto adjust = [this, &goes] {
    goes = Stage({}, kControlIterations);
    return goes;
  };
  const auto sigma0 = [this] {
    const double sigma = Spread().RobustSigma();
    return sigma > 0 ? sigma : 1;
  };
  const std::vector<OutControl> before = Result.vControlOut;
  const ControlFinding finding =
      SearchControl(In, Steps, Now, {Limits(1).fControlCritical, Options.Steps.nThreads}, adjust, sigma0,
                    Result.vControlOut);
  Result.bControlContradictory = finding.bContradictory;
  // What was of no avail is of none again.
  if (std::ranges::equal(before, Result.vControlOut, {}, &OutControl::nControl, &OutControl::nControl))
    nControlSearches = kControlSearches;
  return goes && Stage({}, 1);
}

/// Of rays that the test takes, those that chance does not explain.
void RobustAdjustment::KeepBlunders(std::vector<OutRay>& found) const {
  const double rays = static_cast<double>(std::max<int64_t>(
      Result.Last.vIterations.empty() ? 1 : Result.Last.vIterations.back().Points.nRays, 1));
  const double byChance = TwoSidedProbability(Options.fCritical) * rays;
  if (static_cast<double>(found.size()) > byChance + 4 * std::sqrt(byChance) || Result.bGraduated) return;
  const double limit = TwoSidedCritical(kFalseAlarm / rays);
  std::erase_if(found, [limit](const OutRay& ray) { return !(ray.fW > limit); });
}

/// One pass; false where it changed nothing, or nothing can follow.
bool RobustAdjustment::SnoopOnce() {
  BlunderFinding found = SearchBlunders(In, Steps.Chunks(), Now, Result.vOut, Limits(Result.Last.fSigma0));
  KeepBlunders(found.vOut);
  std::erase_if(found.vBack,
                [this](const OutRay& ray) { return std::ranges::binary_search(vTakenBack, ray.nRay); });
  const bool searches = !found.vControl.empty() && nControlSearches < kControlSearches;
  if (found.vOut.empty() && found.vBack.empty() && !searches) return false;
  ++Result.nSnoopingPasses;
  TakeBack(found.vBack, In, Result.vOut);
  LeaveOut(found.vOut, In, Result.vOut);
  for (const OutRay& ray : found.vBack) vTakenBack.push_back(ray.nRay);
  std::ranges::sort(vTakenBack);
  return searches ? SearchForControl() : Stage({}, 1);
}

void RobustAdjustment::Snoop() {
  for (int32_t pass = 0; pass < kSnoopingPasses; ++pass) {
    if (!SnoopOnce()) break;
  }
  // What was set aside at the start has not been held against a block that fits.
  if (!IsOver() && Left() > 0 && !Result.vControlOut.empty() && nControlSearches == 0 && SearchForControl())
    SnoopOnce();
  if (!IsOver() && Left() > 0 && Result.Last.End != AdjustEnd::Converged) Stage({}, Left());
}

/// Tests of what is left out against the result.
void RobustAdjustment::RateWhatIsOut() {
  if (Result.vOut.empty()) return;
  BlunderLimits limits = Limits(Result.Last.fSigma0);
  limits.fBack = kNotObserved;
  for (const OutRay& now : SearchBlunders(In, Steps.Chunks(), Now, Result.vOut, limits).vBack) {
    const auto ray = std::ranges::lower_bound(Result.vOut, now.nRay, {}, &OutRay::nRay);
    if (ray != Result.vOut.end() && ray->nRay == now.nRay) *ray = now;
  }
}

RobustResult RobustAdjustment::Run() {
  if (Options.Form == RobustForm::None) {
    Stage({}, Left());
    return std::move(Result);
  }
  if (Options.Form == RobustForm::Huber) {
    Stage({LossForm::Huber, kHuberScale}, Left());
    return std::move(Result);
  }
  if (Options.Form == RobustForm::Auto) {
    const double sigma = Spread().RobustSigma();
    Result.vControlOut = SetGrossControlAside(In, Now, sigma);
  }
  bool goes = Begin();
  if (Options.Form == RobustForm::Welsch) {
    // From a start that is off by many pixels nothing would have any pull.
    if (goes) HalveScale(Options.Steps.nMaxIterations);
    return std::move(Result);
  }
  if (goes && IsControlWorst()) goes = SearchForControl();
  if (goes && LooksGross(Spread())) {
    goes = Graduate();
  } else if (goes && Result.Last.End != AdjustEnd::Converged) {
    goes = Stage({}, Left());
  }
  if (goes) Snoop();
  RateWhatIsOut();
  return std::move(Result);
}

}  // namespace

RobustResult AdjustRobustly(Problem& problem, const RobustOptions& options, Estimate& estimate,
                            const IterationObserver& observer) {
  return RobustAdjustment(problem, options, estimate, observer).Run();
}

}  // namespace orvo::rigorous
