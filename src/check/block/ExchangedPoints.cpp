#include "check/block/ExchangedPoints.h"

#include <algorithm>

#include "check/block/BlockScene.h"

namespace orvo {
namespace {

constexpr double kTimesUsual = 12, kTimesExpected = 10, kOfDepth = 0.02, kTimesNearer = 5;
constexpr double kFewOfDepth = 0.1;
constexpr size_t kMostCompared = 300;  // beyond, points are told without their partners
constexpr size_t kEnoughToLearn = 5;
constexpr double kTimesLearned = 3, kTimesUsualExpected = 3;

/// What the points themselves show of what was expected of them, at most all of it: three times their lower
/// median.
double ShareOfExpected(std::span<const double> distances, std::span<const double> expected) {
  if (distances.size() < kEnoughToLearn || expected.size() != distances.size()) return 1;
  std::vector<double> shares;
  for (size_t i = 0; i < distances.size(); ++i) {
    if (expected[i] > 0) shares.push_back(distances[i] / expected[i]);
  }
  return shares.size() < kEnoughToLearn ? 1 : std::min(1.0, kTimesLearned * Quantile(shares, 0.5));
}

}  // namespace

PointFaults FindPointFaults(std::span<const Position3> blockInGiven, std::span<const Position3> given,
                            std::span<const double> expected, double depthInGiven, Expectation expectation) {
  PointFaults faults;
  std::vector<double> distances = DistancesAfter({}, blockInGiven, given);
  std::vector<double> copy = distances;
  // The lower median: of four points, two may be exchanged.
  const double limit = std::max(kTimesUsual * Quantile(copy, 0.5), kOfDepth * depthInGiven);
  const double share = expectation == Expectation::Learned ? ShareOfExpected(distances, expected) : 1;
  std::vector<double> all(expected.begin(), expected.end());
  const double usual = kTimesUsualExpected * Quantile(all, 0.5);
  std::vector<size_t> far;
  for (size_t i = 0; i < distances.size(); ++i) {
    // Points with rays that hardly meet say nothing of the others, nor these of them.
    const bool weak = i < expected.size() && expected[i] > usual;
    const double own = i < expected.size() ? (weak ? 1 : share) * kTimesExpected * expected[i] : 0;
    if (distances[i] > std::max(limit, own)) far.push_back(i);
  }
  const auto swapped = [&](size_t at, size_t place) {
    return kTimesNearer * Distance(blockInGiven[at], given[place]) < distances[at];
  };
  std::vector<bool> told(distances.size());
  const size_t compared = std::min(far.size(), kMostCompared);
  for (size_t a = 0; a < compared; ++a) {
    for (size_t b = a + 1; b < compared && !told[far[a]]; ++b) {
      if (told[far[b]] || !swapped(far[a], far[b]) || !swapped(far[b], far[a])) continue;
      faults.Exchanged.push_back({far[a], far[b]});
      told[far[a]] = told[far[b]] = true;
    }
  }
  for (size_t a = 0; a < far.size(); ++a) {
    if (told[far[a]]) continue;
    std::ptrdiff_t fits = -1;
    for (size_t b = 0; b < compared && a < compared && fits < 0; ++b) {
      if (b != a && !told[far[b]] && swapped(far[a], far[b])) fits = static_cast<std::ptrdiff_t>(far[b]);
    }
    faults.Outliers.push_back({far[a], distances[far[a]], fits});
  }
  return faults;
}

std::optional<PointFaults::Exchange> FindExchangeOfFew(std::span<const Position3> block,
                                                       std::span<const Position3> given, double depth) {
  if (block.size() < 2 || block.size() > 3 || block.size() != given.size()) return std::nullopt;
  for (size_t a = 0; a < block.size(); ++a) {
    for (size_t b = a + 1; b < block.size(); ++b) {
      std::vector<Position3> read(given.begin(), given.end());
      std::swap(read[a], read[b]);
      const std::vector<double> distances = DistancesAfter({}, block, read);
      const double after = *std::ranges::max_element(distances);
      const double before = std::min(Distance(block[a], given[a]), Distance(block[b], given[b]));
      if (after < kFewOfDepth * depth && kTimesNearer * after < before) return PointFaults::Exchange{a, b};
    }
  }
  return std::nullopt;
}

}  // namespace orvo
