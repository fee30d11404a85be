// How a figure lies over a block.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "exchange/views/Footprint.h"

namespace orvo::info {

struct Spread {
  int64_t nNum = 0;  ///< values; the rest is 0 without any
  double dLeast = 0, dMedian = 0, dMost = 0;
};

/// Values that are not finite are left out.
inline Spread SpreadOf(std::vector<double> values) {
  std::erase_if(values, [](double value) { return !std::isfinite(value); });
  Spread spread;
  spread.nNum = std::ssize(values);
  if (values.empty()) return spread;
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  spread.dLeast = *least;
  spread.dMost = *most;
  spread.dMedian = exchange::MedianOf(values);
  return spread;
}

}  // namespace orvo::info
