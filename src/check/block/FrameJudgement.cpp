#include "check/block/FrameJudgement.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "check/block/BlockScene.h"
#include "check/block/HeightOffset.h"

namespace orvo {
namespace {

using Points = std::span<const Position3>;
constexpr double kFactor = 5;
constexpr double kNear = 0.1;       // of the depth
constexpr double kOffset = 0.03;    // of the depth
constexpr double kClearly = 0.5;    // a later reading against an earlier one
constexpr double kLikely = 0.5;     // of the depth: a poor start in the frame
constexpr double kOfAFoot = 0.007;  // what a scale may differ

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

/// Feet are told by the scale alone, and a frame of its own may have nearly theirs.
bool HasScaleOfFeet(Points block, Points read) {
  if (block.size() < 2) return true;
  std::optional<FrameTransform> fit;
  if (const auto robust = FitRobustSimilarity(block, read)) {
    fit = robust->Transform;
  } else {
    fit = FitLevelSimilarity(block, read);
  }
  return fit && std::fabs(fit->fScale - 1) < kOfAFoot;
}

/// Another reading that brings the given points to those of the block.
std::optional<FrameJudgement> TryReadings(Points block, Points given, double depth, double before) {
  std::optional<FrameJudgement> best;
  const double limit = std::min(kNear * depth, before / kFactor);
  for (const CoordinateReading& reading : AllCoordinateReadings()) {
    const auto read = Read(reading, given);
    const double after = MostOf(Distances(block, read));
    if (!(after < limit) || (best && after > kClearly * best->dAfter)) continue;
    if (reading.Fault == CoordinateFault::Feet && !HasScaleOfFeet(block, read)) continue;
    FrameJudgement judgement;
    judgement.Kind = FrameKind::Reading;
    judgement.pReading = &reading;
    judgement.dBefore = before;
    judgement.dAfter = after;
    best = judgement;
  }
  return best;
}

/// Another reading by which a similarity exists, where there is none as given: one that changes the hand.
std::optional<FrameJudgement> TryMirrors(Points block, Points given, double depth, const Position3& up,
                                         const std::optional<RobustFit>& asGiven) {
  std::optional<FrameJudgement> best;
  double nearest = kLikely * depth;
  for (const CoordinateReading& reading : AllCoordinateReadings()) {
    if (!reading.bMirror) continue;
    const auto read = Read(reading, given);
    // The signs of X and Y differ from an exchange by a turn about the vertical, which a frame may have.
    const double distance = HalfOf(Distances(block, read));
    const bool likely = distance < nearest;
    if (!likely && (best || !(reading.bExchanged || reading.Factor[2] < 0))) continue;
    const auto fit = FitRobustSimilarity(block, read, up);
    if (!fit || fit->dMost > kNear * depth * fit->Transform.fScale) continue;
    if (asGiven && asGiven->dMedian < kFactor * fit->dMost) continue;
    FrameJudgement judgement;
    judgement.Kind = FrameKind::Reading;
    judgement.pReading = &reading;
    judgement.dBefore = asGiven ? asGiven->dMedian : HalfOf(Distances(block, given));
    judgement.dAfter = fit->dMost;
    best = judgement;
    if (likely) nearest = distance;
  }
  return best;
}

}  // namespace

FrameJudgement JudgeFrame(Points block, Points given, double depth, const Position3& up) {
  FrameJudgement judgement;
  if (block.empty() || block.size() != given.size() || !(depth > 0)) return judgement;
  judgement.dBefore = judgement.dAfter = HalfOf(Distances(block, given));
  if (judgement.dBefore > kOffset * depth) {
    if (const auto other = TryReadings(block, given, depth, judgement.dBefore)) return *other;
    if (const auto offset = FindHeightOffset(block, given, depth, kOffset * depth)) return *offset;
  }
  if (judgement.dBefore < kNear * depth) {
    judgement.Kind = FrameKind::Same;
    return judgement;
  }
  if (block.size() < 4) return judgement;
  const auto fit = FitRobustSimilarity(block, given, up);
  if (const auto mirror = TryMirrors(block, given, depth, up, fit)) return *mirror;
  if (fit) judgement.dAfter = fit->dMedian / fit->Transform.fScale;
  if (fit && fit->dMedian < kNear * depth * fit->Transform.fScale) {
    judgement.Kind = FrameKind::Free;
    judgement.Transform = fit->Transform;
    judgement.bLevel = fit->bLevel;
    judgement.dAfter = fit->dMedian;
  }
  return judgement;
}

}  // namespace orvo
