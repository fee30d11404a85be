// The arrays that a GPU section and the unknowns take on a device.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/KernelCode.h"
#include "gpu/kernels/GpuPara.h"

namespace orvo::gpu {

/// Device addresses. The literal kernels use the arrays as told here; what the fast kernels make of the same
/// bytes is told in fast/FastLayout.h.
struct DeviceArrays {
  // Of one GPU section.
  GpuPara* cupPara = nullptr;
  uint32_t* cupImgIdx = nullptr;  ///< 4 per image point: image, camera, object point of the section, RayFlag
  uint32_t* cupObjIdx = nullptr;  ///< 3 per object point: type, image-point count, first image point
  float* cupImgPt = nullptr;      ///< 4 per image point: x, y, vx, vy
  float* cupObjPt = nullptr;  ///< 12 per object point: X, Y, Z, inverse or control difference, solved vector
  uint32_t* cupPairPos = nullptr;  ///< 1 per object point: number of its first image-point pair
  float* cupTR = nullptr;          ///< boundary records, 1280 per started 16384 image points
  // Of the run.
  float* cupEop = nullptr;   ///< 6 per image
  float* cupIop = nullptr;   ///< 5 per camera
  float* cupRms = nullptr;   ///< 260: thresholds, then sums; 64 groups of sums of the blocks
  float* cupR = nullptr;     ///< nUnknownNum: reduced constant vector
  float* cuptR = nullptr;    ///< 64 copies of it
  float* cupM = nullptr;     ///< nDiagUpperSize: packed preconditioner
  float* cuptM = nullptr;    ///< 64 copies of it
  float* cupD = nullptr;     ///< nUnknownNum: search direction
  float* cupAd = nullptr;    ///< nUnknownNum: product
  float* cuptAd = nullptr;   ///< 64 copies of it
  float* cupFast = nullptr;  ///< work of the fast kernels in place of the copies
};

inline constexpr int64_t kLaunchBlocks = 64;
inline constexpr int64_t kBlockThreads = 256;
/// Image points, or pairs, that one sweep of a launch covers.
inline constexpr int64_t kChunk = kLaunchBlocks * kBlockThreads;
inline constexpr int64_t kTailRecordFloats = 20;
inline constexpr int64_t kRmsFloats = 260;

/// Sweeps over `count` items; a count that fills its sweeps takes one more.
ORVO_KERNEL_CODE constexpr int64_t ChunkCount(int64_t count) { return count / kChunk + 1; }
/// Boundary records of a section, in floats.
ORVO_KERNEL_CODE constexpr int64_t TailFloats(int64_t imagePoints) {
  return ChunkCount(imagePoints) * kLaunchBlocks * kTailRecordFloats;
}

}  // namespace orvo::gpu
