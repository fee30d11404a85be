// ComputeConstVector: each ray's share of D'W L less its coupling to the object point.
#pragma once

#include "gpu/kernels/literal/LiteralRays.h"

namespace orvo::gpu {

struct ConstVectorStorage {
  float shR[kRecords][kColumns];
};

ORVO_KERNEL_CODE void ConstVectorThread(const LiteralLaunch& launch, int64_t chunk, int64_t block, int thread,
                                        ConstVectorStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  const int64_t i = BlockBase(chunk, block) + thread;
  if (i >= arrays.cupPara->nImgPt) return;
  float* record = storage.shR[thread];
  const RayEntry entry = RayEntryOf(arrays, i);
  if (entry.nFlag == kRayIsLeftOut) {
    for (int k = 0; k < kColumns; ++k) record[k] = 0;
    return;
  }
  const ObservedRay observed = ObserveRay(arrays, i, entry, entry.nCamera);
  const RayMisclosure<float>& ray = observed.Ray;
  float D1[kColumns], D2[kColumns];
  AllColumns(observed, D1, D2);
  const float s = RayWeight(launch, entry);
  for (int k = 0; k < 10; ++k) record[k] = s * (D1[k] * ray.Lx + D2[k] * ray.Ly);
  record[10] = ray.r2 * record[9];
  if (entry.nType == 1) return;
  const float* e = arrays.cupObjPt + 12 * int64_t{entry.nPoint} + 9;
  const float ux = -D1[0] * e[0] - D1[1] * e[1] - D1[2] * e[2];
  const float uy = -D2[0] * e[0] - D2[1] * e[1] - D2[2] * e[2];
  for (int k = 0; k < 10; ++k) record[k] -= s * (D1[k] * ux + D2[k] * uy);
  // The weight enters this column twice, deliberately: gross rays only show it.
  record[10] -= s * s * ray.r2 * (ray.u * ray.r2 * ux + ray.v * ray.r2 * uy);
}

ORVO_KERNEL_CODE void ConstVectorWalk(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                                      const ConstVectorStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  const GpuPara& para = *arrays.cupPara;
  const int64_t base = BlockBase(chunk, block);
  float* const copy = arrays.cuptR + block * para.nUnknownLen;
  for (int k = 0; k < kRecords && base + k < para.nImgPt; ++k) {
    const uint32_t* entry = arrays.cupImgIdx + 4 * (base + k);
    if (entry[3] == kRayIsLeftOut) continue;
    AddByLayout(para, storage.shR[k], entry[0], entry[1], copy);
  }
}

ORVO_KERNEL_CODE void ConstVectorFinal(const LiteralLaunch& launch) {
  const int64_t length = launch.Arrays.cupPara->nUnknownLen;
  AddBlockCopies(launch.Arrays.cuptR, length, 0, length, launch.Arrays.cupR);
}

}  // namespace orvo::gpu
