// Work buffers of the assembly threads, one entry per thread.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "normal/SubMatrix.h"

namespace orvo {

struct ThreadBuffers {
  std::vector<std::array<double, 2>> pThreadResidualSum, pThreadResidualSquareSum;  ///< x, y
  std::vector<int32_t> pThreadValidNum;                   ///< measurements that are not gross
  std::vector<int32_t> pThreadPointNum;                   ///< all measurements of the task
  std::vector<std::vector<int32_t>> pThreadGrossFlags;    ///< 0, or -1 for gross
  std::vector<std::vector<float>> pThreadResiduals;       ///< x and y of each measurement
};

}  // namespace orvo
