// What the steps of the fast kernels share. A step is a struct with
//   Shared         what the lanes of one block see together
//   kThreads       most lanes of a block
//   kMinBlocks     blocks that a multiprocessor should find room for, which bounds its registers
//   Run(block, shared)
// and is written over the type of its block, so that one text runs on a device, and lane by lane in tests:
//   block.Index(), block.Lanes()
//   block.EachLane(f)             f(lane) in every lane, then a barrier
//   Block::PerLane<T>             a T of each lane, reached by [lane]
//   block.Any(flags)              whether a PerLane<bool> is set anywhere
//   block.SumLanes<K>(sums, scratch)  sum over the lanes of a PerLane<FastSums<K>>, as a tree of fixed shape,
//   into
//                                 scratch.Total
#pragma once

#include <cstdint>
#include <cstring>

#include "gpu/kernels/fast/FastArrays.h"
#include "gpu/kernels/fast/FastRay.h"
#include "records/UnknownLayout.h"

namespace orvo::gpu {

/// Image unknowns, and camera unknowns that several images share.
ORVO_KERNEL_CODE bool HasImageBlocks(int mode) { return mode != LayoutIop; }
ORVO_KERNEL_CODE bool HasCameraBlocks(int mode) { return mode == LayoutIop || mode == LayoutEopIop; }

ORVO_KERNEL_CODE int64_t CameraPosition(const FastArrays& a, int64_t camera) {
  return (a.nMode == LayoutIop ? 0 : 6 * a.nEopBlocks) + 5 * camera;
}

template <int K>
struct FastSums {
  float v[K];
};

/// For the sums of a block's lanes.
template <int K>
struct FastScratch {
  float Warp[32][K];
  float Total[K];
};

/// A row of floats that starts at a multiple of 16 bytes and that nobody writes meanwhile.
template <class T>
ORVO_KERNEL_CODE T LoadRow(const float* row) {
  static_assert(sizeof(T) % 16 == 0);
  T out;
#ifdef __CUDA_ARCH__
  float4 parts[sizeof(T) / 16];
#pragma unroll
  for (unsigned k = 0; k < sizeof(T) / 16; ++k) parts[k] = __ldg(reinterpret_cast<const float4*>(row) + k);
  memcpy(&out, parts, sizeof(T));
#else
  std::memcpy(&out, row, sizeof(T));
#endif
  return out;
}

struct FastXy {
  float x, y;
};

/// Two floats that start at a multiple of 8 bytes and that nobody writes meanwhile.
ORVO_KERNEL_CODE FastXy LoadXy(const float* xy) {
#ifdef __CUDA_ARCH__
  const float2 both = __ldg(reinterpret_cast<const float2*>(xy));
  return {both.x, both.y};
#else
  return {xy[0], xy[1]};
#endif
}

ORVO_KERNEL_CODE void StoreXy(float* to, float x, float y) {
#ifdef __CUDA_ARCH__
  *reinterpret_cast<float2*>(to) = make_float2(x, y);
#else
  to[0] = x;
  to[1] = y;
#endif
}

ORVO_KERNEL_CODE uint32_t BitsOf(float value) {
  uint32_t bits;
  memcpy(&bits, &value, sizeof bits);
  return bits;
}

/// First half of a row of FastSection::pPoint.
struct FastPosition {
  float X, Y, Z, TypeBits;
};
static_assert(sizeof(FastPosition) == 16);

/// Second half.
struct FastSolved {
  float v0, v1, v2, HeightDifference;
};
static_assert(sizeof(FastSolved) == 16);

struct FastPoint {
  FastPosition Position;
  FastSolved Solved;
};

ORVO_KERNEL_CODE FastPosition PositionOf(const FastArrays& a, int64_t point) {
  return LoadRow<FastPosition>(a.Section.pPoint + kPointFloats * point);
}

ORVO_KERNEL_CODE FastPoint PointOf(const FastArrays& a, int64_t point) {
  return LoadRow<FastPoint>(a.Section.pPoint + kPointFloats * point);
}

ORVO_KERNEL_CODE int64_t FirstRayOf(const FastArrays& a, int64_t point) {
  return point < a.Section.m ? int64_t{a.Section.pFirstRay[point]} : a.Section.n;
}

/// The inverse of a point's block, 00, 01, 02, 11, 12, 22.
ORVO_KERNEL_CODE void InverseOf(const FastArrays& a, int64_t point, float* P) {
  const float* begin = a.Section.pInverse + 4 * point;
  const float* end = a.Section.pInverseEnd + 2 * point;
  const FastXy last = LoadXy(end);
  const FastPosition first = LoadRow<FastPosition>(begin);
  P[0] = first.X;
  P[1] = first.Y;
  P[2] = first.Z;
  P[3] = first.TypeBits;
  P[4] = last.x;
  P[5] = last.y;
}

ORVO_KERNEL_CODE RayCamera<float> CameraOfImage(const FastArrays& a, int64_t image) {
  return MakeRayCamera(a.pIop + 5 * int64_t{a.Work.pImageCamera[image]});
}

ORVO_KERNEL_CODE float WeightOf(const FastArrays& a, bool gross, uint32_t type) {
  return RayWeight(gross ? kRayIsGross : kRayCounts, type, a.fControlWeight, a.fGrossWeight);
}

}  // namespace orvo::gpu
