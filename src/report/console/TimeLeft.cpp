#include "report/console/TimeLeft.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace orvo::report {
namespace {

constexpr size_t kFitted = 3;    ///< corrections that the fall is taken from
constexpr size_t kAveraged = 5;  ///< iterations that the time of one is taken from
constexpr double kLeastFall = 0.02;

/// Of an iteration on the processor: its sums, as who tells of advances counts them.
constexpr double kShareOfSums = 0.7, kEnoughOfSums = 0.5;

/// What follows the iterations, in times of the sums of one, for all go over the measurements: judging
/// intersects the points once more, a file of the points takes as long to write as to sum up. Measured on
/// blocks of 165 to 5,000 images.
constexpr double kJudging = 2.2, kWriting = 0.1, kWritingPoints = 1.7, kReporting = 0.4;
/// The page has parts of its own, seconds, and a place for every image.
constexpr double kPage = 0.015, kPageOfImage = 1.2e-5;
/// Seconds of the sums for a measurement on a processor, where they were done on a device.
constexpr double kMeasurement = 7.5e-8;
/// Damped as it is, the solution of a held iteration takes next to no steps; what else belongs to it stays.
constexpr double kHeldSolution = 0.3;
/// One held iteration brings most runs below their threshold, some take a second one.
constexpr double kSecondHeld = 0.3;
/// What the damping, which grows by as much, leaves of one correction in the next.
constexpr double kHeldFall = 0.1;

/// Of the last ones, the first of all left aside: it finds its memory and its pattern, which none does after
/// it.
double MeanOfLast(const std::vector<double>& values) {
  if (values.empty()) return 0;
  const size_t num = std::clamp<size_t>(values.size() - 1, 1, kAveraged);
  return std::accumulate(values.end() - static_cast<std::ptrdiff_t>(num), values.end(), 0.0) /
         static_cast<double>(num);
}

struct Line {
  double fLast, fSlope;  ///< value at the last place, change from one place to the next
};

/// The last corrections, each at least as large as those behind it: where they leap as measurements turn out
/// to be gross, a small one between large ones tells of no end.
std::vector<double> LastOf(std::span<const double> largest) {
  const std::span<const double> last = largest.last(std::min(largest.size(), kFitted));
  std::vector<double> falling(last.begin(), last.end());
  for (size_t i = falling.size(); i-- > 1;) falling[i - 1] = std::max(falling[i - 1], falling[i]);
  return falling;
}

/// Through the logarithms of the last corrections.
Line FallOf(std::span<const double> largest) {
  const std::vector<double> last = LastOf(largest);
  const auto n = static_cast<double>(last.size());
  const double middle = (n - 1) / 2;
  double mean = 0, products = 0, squares = 0;
  for (size_t i = 0; i < last.size(); ++i) {
    const double y = std::log(std::max(last[i], 1e-300)), x = static_cast<double>(i) - middle;
    mean += y / n;
    products += x * y;
    squares += x * x;
  }
  const double slope = products / squares;
  return {mean + slope * middle, slope};
}

}  // namespace

int32_t IterationsLeft(std::span<const double> largest, const RunPlan& plan) {
  const auto done = static_cast<int32_t>(std::min<size_t>(largest.size(), INT32_MAX));
  if (done >= plan.nMost) return 0;
  const bool isHeld = done >= plan.nHeld;
  const int32_t bound = (isHeld ? plan.nMost : std::min(plan.nMost, plan.nHeld)) - done;
  if (largest.empty()) return bound;
  if (!std::isfinite(largest.back()) || largest.back() < plan.fThreshold) return 0;
  if (largest.size() < 2 || !(plan.fThreshold > 0)) return bound;
  const Line fall = isHeld ? Line{std::log(largest.back()), std::log(kHeldFall)} : FallOf(largest);
  if (!(fall.fSlope < -kLeastFall)) return bound;
  // What is exactly at the threshold is not below it; the hair is for rounding.
  const double steps = std::floor((std::log(plan.fThreshold) - fall.fLast) / fall.fSlope + 1e-9) + 1;
  return steps < bound ? std::max(static_cast<int32_t>(steps), 1) : bound;
}

void TimeLeft::OnPhase(RunPhase phase, double now) {
  Phase = phase;
  fPhaseBegin = now;
  fIterationBegin = fAdvanceTime = now;
  fAdvance = 0;
}

void TimeLeft::OnCounts(const BlockCounts& counts, const RunPlan& plan) {
  Plan = plan;
  nImages = counts.nImages;
  nMeasurements = std::max<int64_t>(counts.nMeasurements, 0);
}

void TimeLeft::OnAdvance(int32_t /*iteration*/, double share, double now) {
  if (!(share >= fAdvance)) return;
  fAdvance = std::min(share, 1.0);
  fAdvanceTime = now;
  if (fSums <= 0 && fAdvance >= kEnoughOfSums) fSums = (now - fIterationBegin) * kShareOfSums / fAdvance;
}

void TimeLeft::OnIteration(const IterationFigure& figure, double now) {
  vDurations.push_back(now - fIterationBegin);
  vSums.push_back(fSums > 0 ? std::min(fSums, vDurations.back()) : kShareOfSums * vDurations.back());
  fSums = 0;
  bDirect = figure.nSolverSteps == 0;
  bDevice = figure.nUsed == kUnknownCount && std::isfinite(figure.Rmse.x);
  vLargest.push_back(std::fabs(figure.fLargest));
  fIterationBegin = fAdvanceTime = now;
  fAdvance = 0;
}

double TimeLeft::IterationSeconds() const { return MeanOfLast(vDurations); }

double TimeLeft::SumSeconds() const { return MeanOfLast(vSums); }

double TimeLeft::RestOfIterations(double now) const {
  if (Phase > RunPhase::Iterating) return 0;
  const int32_t left = IterationsLeft(vLargest, Plan);
  if (left == 0) return 0;
  const double one = IterationSeconds(), sums = SumSeconds();
  const auto done = static_cast<int32_t>(vLargest.size());
  const int32_t held = bDirect ? 0 : std::clamp(done + left + 1 - Plan.nHeld, 0, left);
  const double heldOne = sums + kHeldSolution * (one - sums);
  const double inHand = std::max((1 - fAdvance) * (held == left ? heldOne : one) - (now - fAdvanceTime), 0.0);
  const double others = held == left ? (left - 1) * heldOne : held * heldOne + (left - held - 1) * one;
  double more = 0;
  if (done < Plan.nHeld && held > 0 && Plan.nHeld < Plan.nMost) more += kSecondHeld * heldOne;
  return inHand + others + more;
}

double TimeLeft::PassSeconds() const {
  return bDevice ? kMeasurement * static_cast<double>(nMeasurements) : SumSeconds();
}

double TimeLeft::PhaseSeconds(RunPhase phase) const {
  switch (phase) {
    case RunPhase::Judging:
      return kJudging * PassSeconds();
    case RunPhase::Writing:
      return (Plan.bWritesPoints ? kWritingPoints : kWriting) * PassSeconds();
    case RunPhase::Reporting:
      return kReporting * PassSeconds() + (Plan.bDrawsPage ? kPage + kPageOfImage * nImages : 0);
    default:
      return 0;
  }
}

double TimeLeft::RestOfPhases(double now) const {
  double seconds = 0;
  for (const RunPhase phase : {RunPhase::Judging, RunPhase::Writing, RunPhase::Reporting}) {
    if (phase < Phase) continue;
    seconds +=
        phase == Phase ? std::max(PhaseSeconds(phase) - (now - fPhaseBegin), 0.0) : PhaseSeconds(phase);
  }
  return seconds;
}

std::optional<double> TimeLeft::Seconds(double now) const {
  if (bEnded) return 0.0;
  if (vDurations.empty()) return std::nullopt;
  return RestOfIterations(now) + RestOfPhases(now);
}

double TimeLeft::Share(double now) {
  const std::optional<double> left = Seconds(now);
  if (left && now + *left > 0) fShare = std::max(fShare, now / (now + *left));
  return fShare;
}

}  // namespace orvo::report
