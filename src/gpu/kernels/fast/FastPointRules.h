// Which rays make up the sums of an object point. The rays are cut into blocks of 256, and a point that
// crosses from one into the next is put together from what both have: that is how the literal kernel goes,
// and its borders show in results.
#pragma once

#include <cstdint>

#include "base/HostDeviceMark.h"
#include "gpu/kernels/DeviceArrays.h"
#include "gpu/kernels/fast/FastLayout.h"

namespace orvo::gpu {

/// Whether a point with the rays [first, next) runs on behind the block it begins in.
ORVO_HOST_DEVICE bool RunsOn(int64_t first, int64_t next) {
  return next > first / kBlockThreads * kBlockThreads + kBlockThreads;
}

/// First ray that is not summed: deliberately, rays behind the second block of a point are lost to its sums.
ORVO_HOST_DEVICE int64_t SummedRaysEnd(int64_t first, int64_t next) {
  const int64_t limit = first / kBlockThreads * kBlockThreads + 2 * kBlockThreads;
  return next < limit ? next : limit;
}

/// Deliberately, a point that runs on keeps what was uploaded when its number is below that of its block.
ORVO_HOST_DEVICE bool IsPointFinished(int64_t point, int64_t first, int64_t next) {
  return !RunsOn(first, next) || point >= first / kBlockThreads;
}

/// Where no point runs on behind the first block, point 0 is finished once more, deliberately, from sums of
/// zero.
ORVO_HOST_DEVICE bool BlockZeroHasTail(const FastSection& section) {
  if (section.n <= kBlockThreads) return false;
  int64_t low = 0, high = section.m;
  while (low < high) {
    const int64_t middle = (low + high) / 2;
    if (int64_t{section.pFirstRay[middle]} < kBlockThreads) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low == section.m || int64_t{section.pFirstRay[low]} != kBlockThreads;
}

}  // namespace orvo::gpu
