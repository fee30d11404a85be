// The blocks of 256 rays that the sums of an object point are made in, stated once.
//
// The literal kernel sums 256 rays at a time and puts a point that crosses from one block into the next
// together from what both have (literal/LiteralSumMatrix.h). Its borders show in results, so the fast kernels
// keep them: these are the rules that follow from it.
#pragma once

#include <cstdint>

#include "base/KernelCode.h"
#include "gpu/kernels/DeviceArrays.h"

namespace orvo::gpu {

static_assert((kBlockThreads & (kBlockThreads - 1)) == 0);

/// First ray of the block that a ray lies in.
ORVO_KERNEL_CODE int64_t RayBlockBegin(int64_t ray) { return ray & ~(kBlockThreads - 1); }

/// Whether a point with the rays [first, next) runs on behind the block it begins in.
ORVO_KERNEL_CODE bool RunsOn(int64_t first, int64_t next) {
  return next > RayBlockBegin(first) + kBlockThreads;
}

/// First ray that is not summed: deliberately, rays behind the second block of a point are lost to its sums.
ORVO_KERNEL_CODE int64_t SummedRaysEnd(int64_t first, int64_t next) {
  const int64_t limit = RayBlockBegin(first) + 2 * kBlockThreads;
  return next < limit ? next : limit;
}

/// Deliberately, a point that runs on keeps what was uploaded when its number is below that of its block.
ORVO_KERNEL_CODE bool IsPointFinished(int64_t point, int64_t first, int64_t next) {
  return !RunsOn(first, next) || point >= first / kBlockThreads;
}

/// Whether a point runs on behind the first block; `firstRay` of the m points ascends, n rays in all. Where
/// none does, point 0 is finished once more, deliberately, from sums of zero: the record that no point has
/// used names it.
ORVO_KERNEL_CODE bool BlockZeroHasTail(const uint32_t* firstRay, int64_t m, int64_t n) {
  if (n <= kBlockThreads) return false;
  int64_t low = 0, high = m;
  while (low < high) {
    const int64_t middle = (low + high) / 2;
    if (int64_t{firstRay[middle]} < kBlockThreads) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low == m || int64_t{firstRay[low]} != kBlockThreads;
}

}  // namespace orvo::gpu
