// How far positions are spread out.
#pragma once

#include <span>

#include "geometry/RobustSimilarity.h"

namespace orvo {

/// Standard deviation across the best straight line by that along it; 0 of fewer than three points.
double SpreadAcross(std::span<const Position3> points);

}  // namespace orvo
