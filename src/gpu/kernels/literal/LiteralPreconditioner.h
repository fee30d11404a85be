// ComputePreconditionerGPU: the diagonal blocks of the images. Another ray of the same point lies in another
// image, so each ray brings its pair with itself only.
#pragma once

#include "gpu/kernels/literal/LiteralRays.h"

namespace orvo::gpu {

struct PreconditionerStorage {
  float shR[kRecords][2 * kColumns];  ///< both rows of D
  float shP[kRecords][6];             ///< inverse of the ray's object point
};

ORVO_KERNEL_CODE void PreconditionerThread(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                                           int thread, PreconditionerStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  const int64_t j = BlockBase(chunk, block) + thread;
  if (j >= arrays.cupPara->nImgPt) return;
  const RayEntry entry = RayEntryOf(arrays, j);
  if (entry.nFlag == kRayIsLeftOut) return;
  const float* inverse = arrays.cupObjPt + 12 * int64_t{entry.nPoint} + 3;
  for (int k = 0; k < 6; ++k) storage.shP[thread][k] = inverse[k];
  float* rows = storage.shR[thread];
  AllColumns(ObserveRay(arrays, j, entry, entry.nCamera), rows, rows + kColumns);
}

ORVO_KERNEL_CODE void PreconditionerWalk(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                                         const PreconditionerStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  const GpuPara& para = *arrays.cupPara;
  const int64_t base = BlockBase(chunk, block);
  const int n = para.nMode == LayoutMergedEopIop ? kColumns : 6;
  float* const copy = arrays.cuptM + block * para.nPrecondLen;
  for (int k = 0; k < kRecords && base + k < para.nImgPt; ++k) {
    const RayEntry entry = RayEntryOf(arrays, base + k);
    if (entry.nFlag == kRayIsLeftOut) continue;
    const float s = RayWeight(launch, entry);
    const float* a = storage.shR[k];
    const float* e = a + kColumns;
    const float* P = storage.shP[k];
    const float Pa[3] = {P[0] * a[0] + P[1] * a[1] + P[2] * a[2], P[1] * a[0] + P[3] * a[1] + P[4] * a[2],
                         P[2] * a[0] + P[4] * a[1] + P[5] * a[2]};
    const float Pe[3] = {P[0] * e[0] + P[1] * e[1] + P[2] * e[2], P[1] * e[0] + P[3] * e[1] + P[4] * e[2],
                         P[2] * e[0] + P[4] * e[1] + P[5] * e[2]};
    const float T00 = a[0] * Pa[0] + a[1] * Pa[1] + a[2] * Pa[2];
    const float T01 = a[0] * Pe[0] + a[1] * Pe[1] + a[2] * Pe[2];
    const float T10 = e[0] * Pa[0] + e[1] * Pa[1] + e[2] * Pa[2];
    const float T11 = e[0] * Pe[0] + e[1] * Pe[1] + e[2] * Pe[2];
    float* out = copy + int64_t{n * (n + 1) / 2} * entry.nImage;
    for (int p = 0; p < n; ++p) {
      for (int q = p; q < n; ++q, ++out) {
        float value = s * (a[p] * a[q] + e[p] * e[q]);
        if (entry.nType != 1) {
          value -= s * s * (a[p] * (T00 * a[q] + T01 * e[q]) + e[p] * (T10 * a[q] + T11 * e[q]));
        }
        *out += value;
      }
    }
  }
}

ORVO_KERNEL_CODE void PreconditionerFinal(const LiteralLaunch& launch) {
  const int64_t length = launch.Arrays.cupPara->nPrecondLen;
  AddBlockCopies(launch.Arrays.cuptM, length, 0, length, launch.Arrays.cupM);
}

}  // namespace orvo::gpu
