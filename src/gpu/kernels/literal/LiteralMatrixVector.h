// ComputeMatrixVectorAd: the reduced matrix times d. The pair (i, j) brings to ray i what the unknowns of ray
// j take away through their object point; the pair of a ray with itself also brings the direct term.
#pragma once

#include "gpu/kernels/literal/LiteralPairs.h"

namespace orvo::gpu {

struct MatrixVectorStorage {
  float shR[kRecords][kColumns];
  RayPair pID[kRecords];
};

/// The elements of d that a ray's eleven columns meet; 0 where its columns are no unknowns.
ORVO_KERNEL_CODE void GatherByLayout(const GpuPara& para, const float* d, uint32_t image, uint32_t camera,
                                     float* delta) {
  for (int k = 0; k < kColumns; ++k) delta[k] = 0;
  if (para.nMode == LayoutMergedEopIop) {
    for (int k = 0; k < kColumns; ++k) delta[k] = d[kColumns * int64_t{image} + k];
    return;
  }
  if (para.nMode != LayoutIop) {
    for (int k = 0; k < 6; ++k) delta[k] = d[6 * int64_t{image} + k];
  }
  if (para.nMode == LayoutIop || para.nMode == LayoutEopIop) {
    const int64_t front = para.nMode == LayoutIop ? 0 : 6 * para.nImageCount;
    for (int k = 0; k < 5; ++k) delta[6 + k] = d[front + 5 * int64_t{camera} + k];
  }
}

ORVO_KERNEL_CODE void MatrixVectorThread(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                                         int thread, MatrixVectorStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  float* record = storage.shR[thread];
  for (int k = 0; k < kColumns; ++k) record[k] = 0;
  const RayPair pair = PairOfThread(arrays, chunk, block, thread);
  storage.pID[thread] = pair;
  if (pair.i == kNoRay) return;
  const RayEntry j = RayEntryOf(arrays, pair.j), i = RayEntryOf(arrays, pair.i);
  if (j.nFlag == kRayIsLeftOut || i.nFlag == kRayIsLeftOut) return;

  float delta[kColumns];
  GatherByLayout(*arrays.cupPara, arrays.cupD, j.nImage, j.nCamera, delta);
  // Of a gross ray of a control point there is none, so this is the weight of the other kernels.
  const float s = RayWeight(launch, j);
  const ObservedRay atJ = ObserveRay(arrays, pair.j, j, j.nCamera);
  float D1[kColumns], D2[kColumns], y[kColumns];
  AllColumns(atJ, D1, D2);
  float hx = 0, hy = 0;
  for (int k = 0; k < kColumns; ++k) {
    hx += D1[k] * delta[k];
    hy += D2[k] * delta[k];
  }
  for (int k = 0; k < 10; ++k) y[k] = s * (D1[k] * hx + D2[k] * hy);
  y[10] = s * atJ.Ray.r2 * (D1[9] * hx + D2[9] * hy);
  if (pair.i == pair.j) {
    for (int k = 0; k < kColumns; ++k) record[k] = y[k];
  }
  if (j.nType == 1) return;

  const float* P = arrays.cupObjPt + 12 * int64_t{j.nPoint} + 3;
  const float h[3] = {P[0] * y[0] + P[1] * y[1] + P[2] * y[2], P[1] * y[0] + P[3] * y[1] + P[4] * y[2],
                      P[2] * y[0] + P[4] * y[1] + P[5] * y[2]};
  const ObservedRay atI = ObserveRay(arrays, pair.i, i, i.nCamera);
  AllColumns(atI, D1, D2);
  const float qx = D1[0] * h[0] + D1[1] * h[1] + D1[2] * h[2];
  const float qy = D2[0] * h[0] + D2[1] * h[1] + D2[2] * h[2];
  const float other = PairWeight(i.nFlag, launch.fGrossWeight);
  for (int k = 0; k < 10; ++k) record[k] -= other * (D1[k] * qx + D2[k] * qy);
  record[10] -= other * atI.Ray.r2 * (D1[9] * qx + D2[9] * qy);
}

ORVO_KERNEL_CODE void MatrixVectorWalk(const LiteralLaunch& launch, int64_t block,
                                       const MatrixVectorStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  const GpuPara& para = *arrays.cupPara;
  float* const copy = arrays.cuptAd + block * para.nUnknownLen;
  for (int k = 0; k < kRecords; ++k) {
    const uint32_t i = storage.pID[k].i;
    if (i == kNoRay) continue;
    const uint32_t* entry = arrays.cupImgIdx + 4 * int64_t{i};
    if (entry[3] == kRayIsLeftOut) continue;
    AddByLayout(para, storage.shR[k], entry[0], entry[1], copy);
  }
}

ORVO_KERNEL_CODE void MatrixVectorFinal(const LiteralLaunch& launch) {
  const int64_t length = launch.Arrays.cupPara->nUnknownLen;
  AddBlockCopies(launch.Arrays.cuptAd, length, 0, length, launch.Arrays.cupAd);
}

}  // namespace orvo::gpu
