// How many threads a product with the sparse matrix is worth.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "normal/SubMatrix.h"

namespace orvo {

inline int32_t SolverThreadNum(int processors, std::span<const SubMatrix> blocks) {
  // Below this many values in all blocks a product takes less time than waking a thread.
  constexpr int64_t kLeastValuesPerThread = 200000;
  // A product is not divided into more parts than this.
  constexpr int64_t kMaxThreadNum = 16;
  int64_t values = 0;
  for (const SubMatrix& block : blocks) values += int64_t{block.nRows} * block.nCols;
  const int64_t worthwhile = std::clamp<int64_t>(values / kLeastValuesPerThread, 1, kMaxThreadNum);
  return static_cast<int32_t>(std::clamp<int64_t>(processors, 1, worthwhile));
}

}  // namespace orvo
