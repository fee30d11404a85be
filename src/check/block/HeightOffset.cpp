#include "check/block/HeightOffset.h"

#include <algorithm>
#include <cmath>

#include "check/block/BlockScene.h"

namespace orvo {
namespace {

using Points = std::span<const Position3>;
constexpr double kNear = 0.1;  // of the depth
constexpr double kTimesScatter = 6, kTimesScatterOfMany = 4;
constexpr size_t kMany = 6;
constexpr double kBeyondFocal = 0.15;  // of the depth
constexpr size_t kFewestPoints = 5;
constexpr double kTimesBetter = 16;  // of the sums of squares

}  // namespace

std::optional<FrameJudgement> FindHeightOffset(Points block, Points given, double depth, double least) {
  if (block.empty() || block.size() != given.size()) return std::nullopt;
  std::vector<double> offsets, scatter;
  for (size_t i = 0; i < block.size(); ++i) offsets.push_back(given[i][2] - block[i][2]);
  FrameJudgement judgement;
  judgement.Kind = FrameKind::HeightOffset;
  judgement.dHeightOffset = Quantile(offsets, 0.5);
  for (const double offset : offsets) scatter.push_back(std::fabs(offset - judgement.dHeightOffset));
  judgement.Transform.T[2] = judgement.dHeightOffset;
  std::vector<double> before = DistancesAfter({}, block, given),
                      after = DistancesAfter(judgement.Transform, block, given);
  std::ranges::sort(after);
  judgement.dBefore = Quantile(before, 0.5);
  // Three quarters lie below; all, of four.
  judgement.dAfter = after[std::min(after.size() - 1, 3 * after.size() / 4)];
  const double times = block.size() < kMany ? kTimesScatter : kTimesScatterOfMany;
  const double limit = std::max(least, times * Quantile(scatter, 0.5));
  const bool taken = std::fabs(judgement.dHeightOffset) > limit && judgement.dAfter < kNear * depth;
  return taken ? std::optional(judgement) : std::nullopt;
}

bool IsBeyondFocalLength(Points block, Points given, double depth, double offset) {
  if (std::fabs(offset) > kBeyondFocal * depth) return true;
  if (block.size() < kFewestPoints || block.size() != given.size()) return false;
  const auto count = static_cast<double>(block.size());
  double height = 0, mean = 0;
  for (size_t i = 0; i < block.size(); ++i) {
    height += block[i][2] / count;
    mean += (given[i][2] - block[i][2]) / count;
  }
  // A focal length makes errors in proportion to the depths of the points.
  double products = 0, squares = 0;
  for (size_t i = 0; i < block.size(); ++i) {
    const double down = depth + height - block[i][2];
    products += down * (given[i][2] - block[i][2]);
    squares += down * down;
  }
  const double share = products / squares;
  double constant = 0, focal = 0;
  for (size_t i = 0; i < block.size(); ++i) {
    const double d = given[i][2] - block[i][2], down = depth + height - block[i][2];
    constant += (d - mean) * (d - mean);
    focal += (d - share * down) * (d - share * down);
  }
  return focal > kTimesBetter * constant;
}

}  // namespace orvo
