#include "geometry/RobustSimilarity.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "geometry/PositionSpread.h"

namespace orvo {
namespace {

using Points = std::span<const Position3>;
/// Of images that look to the horizon, whose up says nothing, either way is taken.
constexpr double kDownward = -0.3;
constexpr size_t kMostPairs = 2000, kTrialNum = 300;

Eigen::Matrix3Xd Columns(Points points) {
  Eigen::Matrix3Xd columns(3, static_cast<Eigen::Index>(points.size()));
  for (size_t i = 0; i < points.size(); ++i)
    columns.col(static_cast<Eigen::Index>(i)) << points[i][0], points[i][1], points[i][2];
  return columns;
}

Position3 Mean(Points points) {
  Position3 mean{};
  for (const Position3& point : points) {
    for (size_t k = 0; k < 3; ++k) mean[k] += point[k] / static_cast<double>(points.size());
  }
  return mean;
}

/// Standard deviations across and along below 1 : 20.
bool IsOnALine(Points points) { return SpreadAcross(points) < 0.05; }

bool IsUsable(const FrameTransform& transform, const Position3& up) {
  double sum = transform.fScale;
  for (const double value : transform.R) sum += value;
  for (const double value : transform.T) sum += value;
  const double height = transform.R[6] * up[0] + transform.R[7] * up[1] + transform.R[8] * up[2];
  return std::isfinite(sum) && transform.fScale > 0 && height > kDownward;
}

/// Numbers below `count`, different from each other, from a linear congruential sequence.
class Draws {
 public:
  template <size_t N>
  std::array<size_t, N> Take(size_t count) {
    std::array<size_t, N> drawn{};
    for (size_t i = 0; i < N; ++i) {
      do drawn[i] = Next(count);
      while (std::find(drawn.begin(), drawn.begin() + static_cast<std::ptrdiff_t>(i), drawn[i]) !=
             drawn.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return drawn;
  }

 private:
  size_t Next(size_t count) {
    nState = nState * 6364136223846793005u + 1442695040888963407u;
    return static_cast<size_t>((nState >> 33) % count);
  }
  uint64_t nState = 1;
};

RobustFit Judge(const FrameTransform& transform, Points source, Points target) {
  std::vector<double> distances = DistancesAfter(transform, source, target);
  // Of four, three count: any two are joined by some similarity.
  std::ranges::sort(distances);
  const size_t n = distances.size();
  return {transform, distances[n / 2], distances[std::min(n - 1, 3 * n / 4)]};
}

class Search {
 public:
  Search(Points source, Points target, const Position3& up) : Source(source), Target(target), Up(up) {}
  template <size_t N>
  void Try(const std::array<size_t, N>& chosen) {
    std::array<Position3, N> from, to;
    for (size_t i = 0; i < N; ++i) {
      from[i] = Source[chosen[i]];
      to[i] = Target[chosen[i]];
    }
    Offer(N == 2 ? FitLevelSimilarity(from, to) : FitSimilarity(from, to));
  }
  void Offer(const std::optional<FrameTransform>& transform) {
    if (!transform || !IsUsable(*transform, Up)) return;
    const RobustFit fit = Judge(*transform, Source, Target);
    if (!Best || fit.dMedian < Best->dMedian) Best = fit;
  }
  /// Fits again to the pairs that lie near.
  void Refine() {
    for (int round = 0; round < 3 && Best; ++round) {
      const std::vector<double> distances = DistancesAfter(Best->Transform, Source, Target);
      std::vector<Position3> from, to;
      for (size_t i = 0; i < distances.size(); ++i) {
        if (distances[i] > 3 * Best->dMedian) continue;
        from.push_back(Source[i]);
        to.push_back(Target[i]);
      }
      Offer(FitLevelSimilarity(from, to));
      Offer(FitSimilarity(from, to));
    }
  }
  std::optional<RobustFit> Best;

 private:
  Points Source, Target;
  Position3 Up;
};

}  // namespace

double Distance(const Position3& a, const Position3& b) {
  double squares = 0;
  for (size_t k = 0; k < 3; ++k) squares += (a[k] - b[k]) * (a[k] - b[k]);
  return std::isnan(squares) ? HUGE_VAL : std::sqrt(squares);
}

Position3 Apply(const FrameTransform& transform, const Position3& source) {
  Position3 result = transform.T;
  for (size_t row = 0; row < 3; ++row) {
    for (size_t k = 0; k < 3; ++k) result[row] += transform.fScale * transform.R[3 * row + k] * source[k];
  }
  return result;
}

std::vector<Position3> Apply(const FrameTransform& transform, Points sources) {
  std::vector<Position3> results;
  results.reserve(sources.size());
  for (const Position3& source : sources) results.push_back(Apply(transform, source));
  return results;
}

std::optional<FrameTransform> FitSimilarity(Points source, Points target) {
  if (source.size() < 3 || IsOnALine(source) || IsOnALine(target)) return std::nullopt;
  const Eigen::Matrix4d fit = Eigen::umeyama(Columns(source), Columns(target), true);
  FrameTransform transform;
  transform.fScale = fit.block<3, 1>(0, 0).norm();
  if (!(transform.fScale > 0)) return std::nullopt;
  for (Eigen::Index row = 0; row < 3; ++row) {
    for (Eigen::Index column = 0; column < 3; ++column)
      transform.R[static_cast<size_t>(3 * row + column)] = fit(row, column) / transform.fScale;
    transform.T[static_cast<size_t>(row)] = fit(row, 3);
  }
  return transform;
}

std::optional<FrameTransform> FitLevelSimilarity(Points source, Points target) {
  if (source.size() < 2) return std::nullopt;
  const Position3 c = Mean(source), d = Mean(target);
  double along = 0, across = 0, size = 0;
  for (size_t i = 0; i < source.size(); ++i) {
    const double x = source[i][0] - c[0], y = source[i][1] - c[1];
    const double X = target[i][0] - d[0], Y = target[i][1] - d[1];
    along += x * X + y * Y;
    across += x * Y - y * X;
    size += x * x + y * y;
  }
  const double length = std::hypot(along, across);
  if (!(size > 0) || !(length > 0)) return std::nullopt;
  FrameTransform transform;
  transform.fScale = length / size;
  const double cosine = along / length, sine = across / length;
  transform.R = {cosine, -sine, 0, sine, cosine, 0, 0, 0, 1};
  const Position3 turned = Apply(transform, c);
  for (size_t k = 0; k < 3; ++k) transform.T[k] = d[k] - turned[k];
  return transform;
}

std::vector<double> DistancesAfter(const FrameTransform& transform, Points source, Points target) {
  std::vector<double> distances;
  distances.reserve(source.size());
  for (size_t i = 0; i < source.size(); ++i) {
    const Position3 p = Apply(transform, source[i]);
    distances.push_back(Distance(p, target[i]));
  }
  return distances;
}

std::optional<RobustFit> FitRobustSimilarity(Points source, Points target, const Position3& up) {
  const size_t n = std::min(source.size(), target.size());
  if (n < 4) return std::nullopt;
  // Of very many, every few.
  if (const size_t step = n / kMostPairs + 1; step > 1) {
    std::vector<Position3> from, to;
    for (size_t i = 0; i < n; i += step) {
      from.push_back(source[i]);
      to.push_back(target[i]);
    }
    return FitRobustSimilarity(from, to, up);
  }
  Search search(source.first(n), target.first(n), up);
  Draws draws;
  for (size_t trial = 0; trial < kTrialNum; ++trial) {
    search.Try(draws.Take<2>(n));
    search.Try(draws.Take<3>(n));
  }
  search.Offer(FitLevelSimilarity(source, target));
  search.Offer(FitSimilarity(source, target));
  search.Refine();
  if (search.Best) search.Best->bLevel = IsOnALine(source);
  return search.Best;
}

}  // namespace orvo
