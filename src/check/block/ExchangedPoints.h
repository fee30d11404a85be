// Points whose coordinates stand under each other's names.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "check/block/RobustSimilarity.h"

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

/// Points off their given place by more than 8 times the usual distance and 2 % of the depth, `block` being
/// taken to the given frame; of these, pairs that lie five times nearer to each other's place.
PointFaults FindPointFaults(std::span<const Position3> blockInGiven, std::span<const Position3> given,
                            double depthInGiven);

}  // namespace orvo
