#include "rigorous/ResidualSpread.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "base/Threads.h"
#include "rigorous/PointPlace.h"

namespace orvo::rigorous {
namespace {

constexpr double kBinsOfTwo = 8;
/// Median of sqrt((x^2 + y^2) / 2) where x and y are normal: sqrt(ln 2).
const double kMedianLength = std::sqrt(std::log(2.0));
/// Root mean square against the standard deviation from the median: 1 for points of many rays, 1.23 where all
/// points have two, whose residuals lie across their common plane alone.
constexpr double kGrossRatio = 1.25;
/// What chance adds, times the root of the number of rays.
constexpr double kGrossChance = 6;

}  // namespace

void ResidualSpread::Add(double length) {
  const double bin = length > kSmallest ? kBinsOfTwo * std::log2(length / kSmallest) : 0;
  ++vCounts[static_cast<size_t>(std::min(bin, kBins - 1.0))];
  ++nNum;
  fSquares += length * length;
}

void ResidualSpread::Add(const ResidualSpread& other) {
  for (size_t i = 0; i < vCounts.size(); ++i) vCounts[i] += other.vCounts[i];
  nNum += other.nNum;
  fSquares += other.fSquares;
}

double ResidualSpread::Quantile(double share) const {
  if (nNum == 0) return 0;
  const auto wanted = std::max<int64_t>(1, std::llround(share * static_cast<double>(nNum)));
  int64_t below = 0;
  for (int32_t i = 0; i < kBins; ++i) {
    const int64_t count = vCounts[static_cast<size_t>(i)];
    if (below + count >= wanted) {
      const double part = static_cast<double>(wanted - below) / static_cast<double>(count);
      return kSmallest * std::exp2((i + part) / kBinsOfTwo);
    }
    below += count;
  }
  return kSmallest * std::exp2(kBins / kBinsOfTwo);
}

double ResidualSpread::RobustSigma() const { return Quantile(0.5) / kMedianLength; }

double ResidualSpread::RootMeanSquare() const {
  return nNum > 0 ? std::sqrt(fSquares / static_cast<double>(nNum)) : 0;
}

ResidualSpread SpreadOfResiduals(const Problem& problem, const PointChunks& chunks, const Estimate& estimate,
                                 int32_t threads) {
  ResidualSpread sum;
  const PointSurroundings around(problem, estimate);
  std::vector<ResidualSpread> parts(static_cast<size_t>(ParallelThreadNum(chunks.Num(), threads)));
  const auto make = [&](int64_t chunk, int thread) {
    ResidualSpread& part = parts[static_cast<size_t>(thread)] = {};
    std::vector<PlaceRow> rows;
    std::vector<double> squares;
    for (int64_t point = chunks.vFirst[chunk]; point < chunks.vFirst[chunk + 1]; ++point) {
      const std::span<const Ray> rays = problem.RaysOf(point);
      SeeRays(around, rays, estimate.vPoints[static_cast<size_t>(point)], rows, squares);
      for (size_t ray = 0; ray < rays.size(); ++ray) {
        if (std::isfinite(squares[ray])) part.Add(std::sqrt(squares[ray] / 2));
      }
    }
  };
  ParallelInOrder(chunks.Num(), static_cast<int>(parts.size()), make,
                  [&](int64_t, int thread) { sum.Add(parts[static_cast<size_t>(thread)]); });
  return sum;
}

bool LooksGross(const ResidualSpread& spread) {
  const double chance = kGrossChance / std::sqrt(static_cast<double>(std::max<int64_t>(spread.Num(), 1)));
  return spread.RootMeanSquare() > (kGrossRatio + chance) * spread.RobustSigma();
}

}  // namespace orvo::rigorous
