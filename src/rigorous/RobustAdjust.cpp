#include "rigorous/RobustAdjust.h"

#include <algorithm>
#include <cmath>

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
/// With the last scale: the rest comes by least squares.
constexpr int32_t kLastScaleIterations = 2;
constexpr int32_t kSnoopingPasses = 6;
/// Probability that among all measurements without gross error one is taken for one.
constexpr double kFalseAlarm = 0.05;

double TwoSidedProbability(double critical) { return std::erfc(critical * std::sqrt(0.5)); }

/// By bisection: no table is at hand, and nobody waits for it.
double TwoSidedCritical(double probability) {
  double low = 0, high = 40;
  for (int32_t i = 0; i < 60; ++i) {
    const double middle = (low + high) / 2;
    (TwoSidedProbability(middle) > probability ? low : high) = middle;
  }
  return low;
}

class RobustAdjustment {
 public:
  RobustAdjustment(Problem& problem, const RobustOptions& options, Estimate& estimate,
                   const IterationObserver& observer)
      : In(problem), Options(options), Now(estimate), Observer(observer), Steps(problem, options.Steps) {}

  RobustResult Run();

 private:
  bool Stage(const RobustLoss& loss, int32_t iterations);
  ResidualSpread Spread() const { return SpreadOfResiduals(In, Steps.Chunks(), Now, Options.Steps.nThreads); }
  bool HalveScale(int32_t iterations);
  bool Graduate();
  void Snoop();
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

/// Welsch losses with a scale that is halved down to kLastScale, and `iterations` with that.
bool RobustAdjustment::HalveScale(int32_t iterations) {
  ResidualSpread spread = Spread();
  double scale = std::max(kFirstScale * spread.RobustSigma(), 2 * kLastScale);
  for (; scale > kLastScale * std::max(spread.RobustSigma(), 1e-3); scale /= 2) {
    if (!Stage({LossForm::Welsch, scale}, 1)) return false;
    spread = Spread();
  }
  return Stage({LossForm::Welsch, kLastScale * std::max(spread.RobustSigma(), 1e-3)}, iterations);
}

bool RobustAdjustment::Graduate() {
  Result.bGraduated = true;
  if (!HalveScale(kLastScaleIterations)) return false;
  BlunderLimits limits = Limits(Spread().RobustSigma());
  limits.fCritical = kNotObserved;
  limits.fWholesale = kLastScale;
  LeaveOut(SearchBlunders(In, Steps.Chunks(), Now, {}, limits).vOut, In, Result.vOut);
  return Stage({}, 1);
}

BlunderLimits RobustAdjustment::Limits(double sigma0) const {
  BlunderLimits limits;
  limits.fCritical = Options.fCritical;
  limits.fSigma0 = sigma0 > 0 ? sigma0 : 1;
  limits.nThreads = Options.Steps.nThreads;
  return limits;
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

void RobustAdjustment::Snoop() {
  for (int32_t pass = 0; pass < kSnoopingPasses; ++pass) {
    BlunderFinding found = SearchBlunders(In, Steps.Chunks(), Now, Result.vOut, Limits(Result.Last.fSigma0));
    KeepBlunders(found.vOut);
    std::erase_if(found.vBack,
                  [this](const OutRay& ray) { return std::ranges::binary_search(vTakenBack, ray.nRay); });
    if (found.vOut.empty() && found.vBack.empty()) break;
    ++Result.nSnoopingPasses;
    TakeBack(found.vBack, In, Result.vOut);
    LeaveOut(found.vOut, In, Result.vOut);
    for (const OutRay& ray : found.vBack) vTakenBack.push_back(ray.nRay);
    std::ranges::sort(vTakenBack);
    if (!Stage({}, 1)) return;
  }
  if (Result.Last.End != AdjustEnd::Converged) Stage({}, Left());
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
  bool goes = Stage({}, kFirstIterations);
  if (Options.Form == RobustForm::Welsch) {
    // From a start that is off by many pixels nothing would have any pull.
    if (goes) HalveScale(Options.Steps.nMaxIterations);
    return std::move(Result);
  }
  if (goes && LooksGross(Spread())) {
    goes = Graduate();
  } else if (goes && Result.Last.End != AdjustEnd::Converged) {
    goes = Stage({}, Left());
  }
  if (goes) Snoop();
  return std::move(Result);
}

}  // namespace

RobustResult AdjustRobustly(Problem& problem, const RobustOptions& options, Estimate& estimate,
                            const IterationObserver& observer) {
  return RobustAdjustment(problem, options, estimate, observer).Run();
}

}  // namespace orvo::rigorous
