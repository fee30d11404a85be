#include "check/block/FrameJudgement.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "check/block/BlockScene.h"

namespace orvo {
namespace {

using Points = std::span<const Position3>;
constexpr double kFactor = 5;
constexpr double kNear = 0.1;     // of the depth
constexpr double kOffset = 0.03;  // of the depth
constexpr double kTimesScatter = 6;
constexpr double kClearly = 0.5;  // a later reading against an earlier one

std::vector<double> Distances(Points block, Points given) { return DistancesAfter({}, block, given); }

/// Three quarters lie below; all, of four.
double MostOf(std::vector<double> distances) {
  std::ranges::sort(distances);
  return distances[std::min(distances.size() - 1, 3 * distances.size() / 4)];
}

double HalfOf(std::vector<double> distances) {
  std::ranges::sort(distances);
  return distances[(distances.size() - 1) / 2];
}

/// Another reading that brings the given points to those of the block.
std::optional<FrameJudgement> TryReadings(Points block, Points given, double depth, double before) {
  std::optional<FrameJudgement> best;
  const double limit = std::min(kNear * depth, before / kFactor);
  for (const CoordinateReading& reading : AllCoordinateReadings()) {
    const double after = MostOf(Distances(block, Read(reading, given)));
    if (!(after < limit) || (best && after > kClearly * best->dAfter)) continue;
    FrameJudgement judgement;
    judgement.Kind = FrameKind::Reading;
    judgement.pReading = &reading;
    judgement.dBefore = before;
    judgement.dAfter = after;
    best = judgement;
  }
  return best;
}

/// One that stands out from the scatter of the heights, between points that agree in plan.
std::optional<FrameJudgement> TryHeightOffset(Points block, Points given, double depth, double before) {
  std::vector<double> offsets, scatter;
  for (size_t i = 0; i < block.size(); ++i) offsets.push_back(given[i][2] - block[i][2]);
  FrameJudgement judgement;
  judgement.Kind = FrameKind::HeightOffset;
  judgement.dHeightOffset = Quantile(offsets, 0.5);
  for (const double offset : offsets) scatter.push_back(std::fabs(offset - judgement.dHeightOffset));
  judgement.Transform.T[2] = judgement.dHeightOffset;
  judgement.dBefore = before;
  judgement.dAfter = MostOf(DistancesAfter(judgement.Transform, block, given));
  const double least = std::max(kOffset * depth, kTimesScatter * Quantile(scatter, 0.5));
  const bool taken = std::fabs(judgement.dHeightOffset) > least && judgement.dAfter < kNear * depth;
  return taken ? std::optional(judgement) : std::nullopt;
}

/// Another reading by which a similarity exists, where there is none as given: one that changes the hand.
std::optional<FrameJudgement> TryMirrors(Points block, Points given, double depth, const Position3& up,
                                         const std::optional<RobustFit>& asGiven) {
  for (const CoordinateReading& reading : AllCoordinateReadings()) {
    // The others differ from these by a turn about the vertical.
    const bool exchange = reading.bExchanged && reading.Factor == Position3{1, 1, 1};
    if (!reading.bMirror || !(exchange || reading.Factor[2] < 0)) continue;
    const auto fit = FitRobustSimilarity(block, Read(reading, given), up);
    if (!fit || fit->dMost > kNear * depth * fit->Transform.fScale) continue;
    if (asGiven && asGiven->dMedian < kFactor * fit->dMost) continue;
    FrameJudgement judgement;
    judgement.Kind = FrameKind::Reading;
    judgement.pReading = &reading;
    judgement.dBefore = asGiven ? asGiven->dMedian : HalfOf(Distances(block, given));
    judgement.dAfter = fit->dMost;
    return judgement;
  }
  return std::nullopt;
}

}  // namespace

FrameJudgement JudgeFrame(Points block, Points given, double depth, const Position3& up) {
  FrameJudgement judgement;
  if (block.empty() || block.size() != given.size() || !(depth > 0)) return judgement;
  judgement.dBefore = judgement.dAfter = HalfOf(Distances(block, given));
  if (judgement.dBefore > kOffset * depth) {
    if (const auto other = TryReadings(block, given, depth, judgement.dBefore)) return *other;
    if (const auto offset = TryHeightOffset(block, given, depth, judgement.dBefore)) return *offset;
  }
  if (judgement.dBefore < kNear * depth) {
    judgement.Kind = FrameKind::Same;
    return judgement;
  }
  if (block.size() < 4) return judgement;
  const auto fit = FitRobustSimilarity(block, given, up);
  if (const auto mirror = TryMirrors(block, given, depth, up, fit)) return *mirror;
  if (fit && fit->dMedian < kNear * depth * fit->Transform.fScale) {
    judgement.Kind = FrameKind::Free;
    judgement.Transform = fit->Transform;
    judgement.bLevel = fit->bLevel;
    judgement.dAfter = fit->dMedian;
  }
  return judgement;
}

}  // namespace orvo
