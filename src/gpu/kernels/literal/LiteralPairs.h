// Pairs of rays by number: pair cupPairPos[o] + a m + c of an object point o with m rays stands for its rays
// a and c, a equal to c included, each other pair in both orders.
#pragma once

#include "gpu/kernels/literal/LiteralRays.h"

namespace orvo::gpu {

struct RayPair {
  uint32_t i, j;
};

/// Pairs are numbered in 32 bits.
ORVO_KERNEL_CODE uint32_t PairCount(const GpuPara& para) { return static_cast<uint32_t>(para.nPairNum); }
ORVO_KERNEL_CODE int64_t PairChunkCount(const GpuPara& para) { return int64_t{PairCount(para) >> 14} + 1; }

/// The rays of pair g, kNoRay where the tables hold none. A number that begins a point ends the search early,
/// at the pair of the point's first ray with itself.
ORVO_KERNEL_CODE RayPair FindPair(const DeviceArrays& arrays, uint32_t g) {
  uint32_t lo = 0, hi = static_cast<uint32_t>(arrays.cupPara->nObjPt);
  for (int round = 0; round < 100 && hi - lo > 1; ++round) {
    const uint32_t mid = lo + (hi - lo) / 2;
    const uint32_t v = arrays.cupPairPos[mid];
    if (v == g) {
      const uint32_t first = arrays.cupObjIdx[3 * int64_t{mid} + 2];
      return {first, first};
    }
    (v < g ? lo : hi) = mid;
  }
  const uint32_t m = arrays.cupObjIdx[3 * int64_t{lo} + 1], p = arrays.cupObjIdx[3 * int64_t{lo} + 2];
  const uint32_t rel = g - arrays.cupPairPos[lo];
  // Numbers of more pairs than 32 bits hold would lead beyond the point.
  if (m == 0 || rel / m >= m) return {kNoRay, kNoRay};
  return {rel / m + p, rel % m + p};
}

/// What thread t of a block does in a chunk: pID of the thread, kNoRay behind the last pair.
ORVO_KERNEL_CODE RayPair PairOfThread(const DeviceArrays& arrays, int64_t chunk, int64_t block, int thread) {
  const int64_t g = BlockBase(chunk, block) + thread;
  if (g >= int64_t{PairCount(*arrays.cupPara)}) return {kNoRay, kNoRay};
  return FindPair(arrays, static_cast<uint32_t>(g));
}

}  // namespace orvo::gpu
