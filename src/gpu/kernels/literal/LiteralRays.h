// What the literal kernels share: what a launch is given, and a ray looked up in the tables. Each kernel
// stands in a header of its own as plain functions over a per-block storage: <Kernel>Thread is what thread t
// of block b does in chunk c before the barrier, <Kernel>Walk what thread 0 alone does behind it, and
// <Kernel>Final the last block's final step. LiteralKernels.cpp runs them in loops over blocks and threads; a
// device's kernel calls them between barriers.
#pragma once

#include <cstdint>

#include "gpu/kernels/DeviceArrays.h"
#include "gpu/kernels/RayModel.h"
#include "records/UnknownLayout.h"

namespace orvo::gpu {

struct LiteralLaunch {
  DeviceArrays Arrays;
  float fGrossWeight = kGrossRayWeight;
};

inline constexpr int kRecords = static_cast<int>(kBlockThreads);
/// Eleven columns: six of the image, five of the camera.
inline constexpr int kColumns = 11;
inline constexpr uint32_t kNoRay = 0xffffffffu;

/// First image point, or pair, of a block in a chunk.
ORVO_KERNEL_CODE int64_t BlockBase(int64_t chunk, int64_t block) {
  return kChunk * chunk + kBlockThreads * block;
}

/// One ray in the tables. Image and camera of a ray that is left out are no indices.
struct RayEntry {
  uint32_t nImage, nCamera, nPoint, nFlag, nType;
};

ORVO_KERNEL_CODE RayEntry RayEntryOf(const DeviceArrays& arrays, int64_t ray) {
  const uint32_t* entry = arrays.cupImgIdx + 4 * ray;
  return {entry[0], entry[1], entry[2], entry[3], arrays.cupObjIdx[3 * int64_t{entry[2]}]};
}

ORVO_KERNEL_CODE float ControlWeight(const DeviceArrays& arrays) {
  return static_cast<float>(arrays.cupPara->nControlWeight);
}

ORVO_KERNEL_CODE float RayWeight(const LiteralLaunch& launch, const RayEntry& entry) {
  return RayWeight(entry.nFlag, entry.nType, ControlWeight(launch.Arrays), launch.fGrossWeight);
}

/// The observation model at one ray.
struct ObservedRay {
  RayImage<float> Image;
  RayCamera<float> Camera;
  RayMisclosure<float> Ray;
};

/// The ray on its image and point, seen through `camera`. Not for a ray that is left out.
ORVO_KERNEL_CODE ObservedRay ObserveRay(const DeviceArrays& arrays, int64_t ray, const RayEntry& entry,
                                        uint32_t camera) {
  const float* measured = arrays.cupImgPt + 4 * ray;
  const float* point = arrays.cupObjPt + 12 * int64_t{entry.nPoint};
  ObservedRay observed;
  observed.Image = MakeRayImage(arrays.cupEop + 6 * int64_t{entry.nImage});
  observed.Camera = MakeRayCamera(arrays.cupIop + 5 * int64_t{camera});
  observed.Ray =
      ObserveRay(observed.Image, observed.Camera, measured[0], measured[1], point[0], point[1], point[2]);
  return observed;
}

ORVO_KERNEL_CODE RayCentre<float> CentreColumns(const ObservedRay& observed) {
  return CentreColumns(observed.Image, observed.Camera, observed.Ray);
}

ORVO_KERNEL_CODE void AllColumns(const ObservedRay& observed, float* D1, float* D2) {
  AllColumns(observed.Image, observed.Camera, observed.Ray, D1, D2);
}

/// Adds a record of eleven values, an image's six and a camera's five, to a vector of all unknowns.
ORVO_KERNEL_CODE void AddByLayout(const GpuPara& para, const float* record, uint32_t image, uint32_t camera,
                                  float* vector) {
  const int64_t eop = para.nEopLen, iop = para.nIopLen;
  const bool merged = para.nMode == LayoutMergedEopIop;
  if (para.nMode != LayoutIop) {
    const int64_t length = merged ? eop + iop : eop;
    for (int64_t k = 0; k < length; ++k) vector[length * image + k] += record[k];
  }
  if (para.nMode == LayoutIop || para.nMode == LayoutEopIop) {
    const int64_t front = para.nMode == LayoutIop ? 0 : eop * para.nImageCount;
    for (int64_t k = 0; k < iop; ++k) vector[front + iop * camera + k] += record[eop + k];
  }
}

/// Adds the copies of the blocks to a vector, block by block.
ORVO_KERNEL_CODE void AddBlockCopies(const float* copies, int64_t stride, int64_t first, int64_t length,
                                     float* sums) {
  for (int64_t block = 0; block < kLaunchBlocks; ++block) {
    const float* copy = copies + block * stride;
    for (int64_t k = first; k < first + length; ++k) sums[k] += copy[k];
  }
}

}  // namespace orvo::gpu
