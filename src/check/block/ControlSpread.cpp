#include "check/block/ControlSpread.h"

#include <algorithm>

namespace orvo {

double ShareOfExtent(std::span<const Position3> points, const std::array<double, 3>& low,
                     const std::array<double, 3>& high) {
  double share = 0;
  for (size_t k = 0; k < 2 && !points.empty(); ++k) {
    const auto [least, most] = std::ranges::minmax(points, {}, [k](const Position3& p) { return p[k]; });
    if (high[k] > low[k]) share = std::max(share, (most[k] - least[k]) / (high[k] - low[k]));
  }
  return share;
}

}  // namespace orvo
