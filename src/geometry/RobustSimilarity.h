// The similarity between two frames from pairs of points of which some are wrong.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace orvo {

using Position3 = std::array<double, 3>;

/// target = fScale R source + T, R row-major.
struct FrameTransform {
  double fScale = 1;
  std::array<double, 9> R{1, 0, 0, 0, 1, 0, 0, 0, 1};
  Position3 T{};
};

/// Infinite where it is no number.
double Distance(const Position3& a, const Position3& b);

Position3 Apply(const FrameTransform& transform, const Position3& source);
std::vector<Position3> Apply(const FrameTransform& transform, std::span<const Position3> sources);

/// By least squares, all seven parameters; three pairs and more, not on a line (S. Umeyama, Least-squares
/// estimation of transformation parameters between two point patterns, 1991).
std::optional<FrameTransform> FitSimilarity(std::span<const Position3> source,
                                            std::span<const Position3> target);

/// The same with the vertical kept: scale, turn about Z and shift from two pairs and more, apart in plan.
std::optional<FrameTransform> FitLevelSimilarity(std::span<const Position3> source,
                                                 std::span<const Position3> target);

struct RobustFit {
  FrameTransform Transform;
  double dMedian = 0;   ///< of the distances that remain, target units
  double dMost = 0;     ///< three quarters of the distances lie below
  bool bLevel = false;  ///< the pairs give no tilt
};

/// The one with the smallest median of the remaining distances, over level similarities of two and general
/// ones of three pairs, then fitted again to the pairs near to it. `up`, a direction of the
/// source frame, does not come to point downwards. Four pairs and more; up to half of them (of many) may be
/// wrong. The same pairs give the same result.
std::optional<RobustFit> FitRobustSimilarity(std::span<const Position3> source,
                                             std::span<const Position3> target,
                                             const Position3& up = {0, 0, 1});

/// Distances that remain.
std::vector<double> DistancesAfter(const FrameTransform& transform, std::span<const Position3> source,
                                   std::span<const Position3> target);

}  // namespace orvo
