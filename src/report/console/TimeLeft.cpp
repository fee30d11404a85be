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

/// What follows the iterations, in times of the sums of one: both go over all measurements. Measured on
/// blocks of 165 to 1,000 images.
struct PhaseCost {
  RunPhase Phase;
  double fSums;
};
constexpr PhaseCost kCosts[] = {
    {RunPhase::Judging, 2.0}, {RunPhase::Writing, 0.4}, {RunPhase::Reporting, 1.3}};
/// A direct solver works on in the last iteration: what that takes, in times of its solution.
constexpr double kLastDirect = 1.7;

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

/// Through the logarithms of the last corrections.
Line FallOf(std::span<const double> largest) {
  const std::span<const double> last = largest.last(std::min(largest.size(), kFitted));
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

int32_t IterationsLeft(std::span<const double> largest, int32_t most, double threshold) {
  const int32_t bound = std::max(most - static_cast<int32_t>(std::min<size_t>(largest.size(), INT32_MAX)), 0);
  if (largest.empty() || bound == 0) return bound;
  if (!std::isfinite(largest.back()) || largest.back() < threshold) return 0;
  if (largest.size() < 2 || !(threshold > 0)) return bound;
  const Line fall = FallOf(largest);
  if (!(fall.fSlope < -kLeastFall)) return bound;
  // What is exactly at the threshold is not below it; the hair is for rounding.
  const double steps = std::floor((std::log(threshold) - fall.fLast) / fall.fSlope + 1e-9) + 1;
  return steps < bound ? std::max(static_cast<int32_t>(steps), 1) : bound;
}

void TimeLeft::OnPhase(RunPhase phase, double now) {
  Phase = phase;
  fPhaseBegin = now;
  fIterationBegin = fAdvanceTime = now;
  fAdvance = 0;
}

void TimeLeft::OnCounts(int32_t most, double threshold) {
  nMost = most;
  fThreshold = threshold;
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
  vLargest.push_back(std::fabs(figure.fLargest));
  fIterationBegin = fAdvanceTime = now;
  fAdvance = 0;
}

double TimeLeft::IterationSeconds() const { return MeanOfLast(vDurations); }

double TimeLeft::SumSeconds() const { return MeanOfLast(vSums); }

double TimeLeft::RestOfIterations(double now) const {
  if (Phase > RunPhase::Iterating) return 0;
  const int32_t left = IterationsLeft(vLargest, nMost, fThreshold);
  if (left == 0) return 0;
  const double one = IterationSeconds();
  const double inHand = std::max((1 - fAdvance) * one - (now - fAdvanceTime), 0.0);
  const double more = bDirect ? kLastDirect * (one - SumSeconds()) : 0;
  return inHand + (left - 1) * one + more;
}

double TimeLeft::RestOfPhases(double now) const {
  double seconds = 0;
  for (const PhaseCost& cost : kCosts) {
    if (cost.Phase < Phase) continue;
    const double whole = cost.fSums * SumSeconds();
    seconds += cost.Phase == Phase ? std::max(whole - (now - fPhaseBegin), 0.0) : whole;
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
