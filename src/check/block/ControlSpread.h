// How control points lie in a block.
#pragma once

#include <array>
#include <span>

#include "geometry/RobustSimilarity.h"

namespace orvo {

/// Extents of the points in X and Y by those of the block, the larger of both.
double ShareOfExtent(std::span<const Position3> points, const std::array<double, 3>& low,
                     const std::array<double, 3>& high);

}  // namespace orvo
