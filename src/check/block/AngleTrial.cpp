#include "check/block/AngleTrial.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "check/block/BlockScene.h"

namespace orvo {
namespace {

constexpr double kFactor = 5, kFactorOfMany = 2, kLimit = 5, kFloor = 0.5;  // degrees
constexpr size_t kMany = 10;
constexpr size_t kMostPairs = 500, kFrameTrials = 25;

double MedianAngle(std::span<const AnglePair> pairs, std::span<const Rotation3> given,
                   const Rotation3& frame) {
  std::vector<double> angles;
  angles.reserve(pairs.size());
  for (size_t i = 0; i < pairs.size(); ++i)
    angles.push_back(AngleBetween(given[i], Multiply(frame, pairs[i].Block)));
  return Quantile(angles, 0.5) * 180 / std::numbers::pi;
}

double Try(std::span<const AnglePair> pairs, const AngleReading& reading,
           const std::optional<Rotation3>& frame) {
  std::vector<Rotation3> given;
  given.reserve(pairs.size());
  for (const AnglePair& pair : pairs) given.push_back(Read(reading, pair.Numbers));
  if (frame) return MedianAngle(pairs, given, *frame);
  double best = 180;
  const size_t step = std::max<size_t>(1, pairs.size() / kFrameTrials);
  for (size_t i = 0; i < pairs.size(); i += step)
    best = std::min(best, MedianAngle(pairs, given, Multiply(given[i], Transposed(pairs[i].Block))));
  return best;
}

}  // namespace

AngleVerdict TryAngles(std::span<const AnglePair> pairs, const std::optional<Rotation3>& frame) {
  AngleVerdict verdict;
  std::vector<AnglePair> sample;
  for (size_t i = 0; i < pairs.size(); i += pairs.size() / kMostPairs + 1) sample.push_back(pairs[i]);
  const bool radians = std::ranges::all_of(sample, [](const AnglePair& pair) {
    return std::ranges::all_of(pair.Numbers, [](double number) { return std::fabs(number) < 6.3; });
  });
  for (const AngleReading& reading : AllAngleReadings()) {
    if (sample.empty() || (reading.dUnit == 1 && !radians)) continue;
    const double angle = Try(sample, reading, frame);
    if (!verdict.pBest) verdict.dWritten = angle;
    if (verdict.pBest && !(angle < verdict.dBest)) continue;
    verdict.pBest = &reading;
    verdict.dBest = angle;
  }
  verdict.bWrong = verdict.pBest && verdict.pBest->szCode && verdict.dBest < kLimit &&
                   verdict.dWritten > kFloor &&
                   verdict.dWritten > (sample.size() < kMany ? kFactor : kFactorOfMany) * verdict.dBest;
  return verdict;
}

}  // namespace orvo
