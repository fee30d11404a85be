// Points whose coordinates stand under each other's names.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "geometry/RobustSimilarity.h"

namespace orvo {

struct PointFaults {
  struct Exchange {
    size_t nFirst, nSecond;
  };
  struct Outlier {
    size_t nPoint;
    double dDistance;
    std::ptrdiff_t nFits;  ///< the given point that its intersection lies at, -1 where there is none
  };
  std::vector<Exchange> Exchanged;
  std::vector<Outlier> Outliers;
};

/// Whether the points themselves may show that less is to be expected of them.
enum class Expectation { AsGiven, Learned };

/// Points off their given place by more than 12 times the usual distance, 2 % of the depth and 10 times what
/// is expected of the point (`expected`, empty for nothing); of these, pairs that lie five times nearer to
/// each other's place. All in the given frame. Learned: from five points on, where most lie at less than a
/// third of what is expected of them, less is expected of all, but for those with rays that hardly meet.
PointFaults FindPointFaults(std::span<const Position3> blockInGiven, std::span<const Position3> given,
                            std::span<const double> expected, double depthInGiven,
                            Expectation expectation = Expectation::Learned);

/// Of two or three points that are in the frame of the block once two of them are exchanged, these two: all
/// then lie within a tenth of the depth, and the two five times nearer than before.
std::optional<PointFaults::Exchange> FindExchangeOfFew(std::span<const Position3> block,
                                                       std::span<const Position3> given, double depth);

}  // namespace orvo
