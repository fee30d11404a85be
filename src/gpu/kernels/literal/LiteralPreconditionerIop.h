// ComputePreconditionerGPU_IOP: the diagonal blocks of the cameras, which every pair of a point's rays
// through one camera touches.
#pragma once

#include "gpu/kernels/literal/LiteralPairs.h"

namespace orvo::gpu {

inline constexpr int kCameraBlock = 15;  ///< upper triangle of the columns f, x0, y0, k1, k2

struct PreconditionerIopStorage {
  float shR[kRecords][kCameraBlock];
  RayPair pID[kRecords];
};

ORVO_KERNEL_CODE void PreconditionerIopThread(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                                              int thread, PreconditionerIopStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  float* record = storage.shR[thread];
  for (int k = 0; k < kCameraBlock; ++k) record[k] = 0;
  const RayPair pair = PairOfThread(arrays, chunk, block, thread);
  storage.pID[thread] = pair;
  if (pair.i == kNoRay) return;
  const RayEntry j = RayEntryOf(arrays, pair.j), i = RayEntryOf(arrays, pair.i);
  if (j.nFlag == kRayIsLeftOut || i.nFlag == kRayIsLeftOut) return;

  const ObservedRay atJ = ObserveRay(arrays, pair.j, j, j.nCamera);
  const float s = RayWeight(launch, j);
  if (pair.i == pair.j) {
    const RayMisclosure<float>& ray = atJ.Ray;
    const float px = ray.xc / atJ.Camera.f, py = ray.yc / atJ.Camera.f;
    const float ux = ray.u * ray.r2, uy = ray.v * ray.r2;
    const float wx = ray.u * ray.r2 * ray.r2, wy = ray.v * ray.r2 * ray.r2;
    const float direct[kCameraBlock] = {s * (px * px + py * py),
                                        s * px,
                                        s * py,
                                        s * (px * ux + py * uy),
                                        s * (px * wx + py * wy),
                                        s,
                                        0,
                                        s * ux,
                                        s * wx,
                                        s,
                                        s * uy,
                                        s * wy,
                                        s * (ux * ux + uy * uy),
                                        s * (ux * wx + uy * wy),
                                        s * (wx * wx + wy * wy)};
    for (int k = 0; k < kCameraBlock; ++k) record[k] = direct[k];
  }
  if (j.nType == 1 || i.nCamera != j.nCamera) return;

  const ObservedRay atI = ObserveRay(arrays, pair.i, i, j.nCamera);
  float D1i[kColumns], D2i[kColumns], D1j[kColumns], D2j[kColumns];
  AllColumns(atI, D1i, D2i);
  AllColumns(atJ, D1j, D2j);
  const float* P = arrays.cupObjPt + 12 * int64_t{j.nPoint} + 3;
  // P C' of j, whose sign that of C at i takes away again.
  float Px[3], Py[3];
  Px[0] = P[0] * D1j[0] + P[1] * D1j[1] + P[2] * D1j[2];
  Px[1] = P[1] * D1j[0] + P[3] * D1j[1] + P[4] * D1j[2];
  Px[2] = P[2] * D1j[0] + P[4] * D1j[1] + P[5] * D1j[2];
  Py[0] = P[0] * D2j[0] + P[1] * D2j[1] + P[2] * D2j[2];
  Py[1] = P[1] * D2j[0] + P[3] * D2j[1] + P[4] * D2j[2];
  Py[2] = P[2] * D2j[0] + P[4] * D2j[1] + P[5] * D2j[2];
  const float Qxx = D1i[0] * Px[0] + D1i[1] * Px[1] + D1i[2] * Px[2];
  const float Qxy = D1i[0] * Py[0] + D1i[1] * Py[1] + D1i[2] * Py[2];
  const float Qyx = D2i[0] * Px[0] + D2i[1] * Px[1] + D2i[2] * Px[2];
  const float Qyy = D2i[0] * Py[0] + D2i[1] * Py[1] + D2i[2] * Py[2];
  const float w = s * PairWeight(i.nFlag, launch.fGrossWeight);
  const float *A1i = D1i + 6, *A2i = D2i + 6, *A1j = D1j + 6, *A2j = D2j + 6;
  for (int p = 0, k = 0; p < 5; ++p) {
    for (int q = p; q < 5; ++q, ++k) {
      record[k] -= w * (A1i[p] * (Qxx * A1j[q] + Qxy * A2j[q]) + A2i[p] * (Qyx * A1j[q] + Qyy * A2j[q]));
    }
  }
}

/// Where the camera blocks begin in the packed preconditioner.
ORVO_KERNEL_CODE int64_t CameraBlockBase(const GpuPara& para) {
  return para.nMode == LayoutEopIop ? 21 * para.nImageCount : 0;
}

ORVO_KERNEL_CODE void PreconditionerIopWalk(const LiteralLaunch& launch, int64_t block,
                                            const PreconditionerIopStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  const GpuPara& para = *arrays.cupPara;
  float* const blocks = arrays.cuptM + block * para.nPrecondLen + CameraBlockBase(para);
  for (int k = 0; k < kRecords; ++k) {
    const uint32_t i = storage.pID[k].i;
    if (i == kNoRay) continue;
    const uint32_t* entry = arrays.cupImgIdx + 4 * int64_t{i};
    if (entry[3] == kRayIsLeftOut) continue;
    float* out = blocks + kCameraBlock * int64_t{entry[1]};
    for (int t = 0; t < kCameraBlock; ++t) out[t] += storage.shR[k][t];
  }
}

/// Behind the image blocks only the camera blocks are added: ComputePreconditionerGPU has added the others.
ORVO_KERNEL_CODE void PreconditionerIopFinal(const LiteralLaunch& launch) {
  const GpuPara& para = *launch.Arrays.cupPara;
  const bool behind = para.nMode == LayoutEopIop;
  AddBlockCopies(launch.Arrays.cuptM, para.nPrecondLen, CameraBlockBase(para),
                 behind ? kCameraBlock * para.nCameraCount : para.nPrecondLen, launch.Arrays.cupM);
}

}  // namespace orvo::gpu
