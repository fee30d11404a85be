// ComputeSumMatrix: residuals and gross flags of the rays, inverse and solved vector of the object points.
#pragma once

#include "gpu/kernels/PointFinish.h"
#include "gpu/kernels/literal/LiteralRays.h"

namespace orvo::gpu {

inline constexpr int kPointSums = 9;

struct SumMatrixStorage {
  float shpT[kRecords][kPointSums];  ///< a ray's weighted C'C as upper triangle, then C'L
  float shRms[kRecords][4];          ///< Lx, Ly, Lx Lx, Ly Ly; zeros for a gross ray
};

ORVO_KERNEL_CODE void SumMatrixThread(const LiteralLaunch& launch, int64_t chunk, int64_t block, int thread,
                                      SumMatrixStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  const GpuPara& para = *arrays.cupPara;
  const int64_t i = BlockBase(chunk, block) + thread;
  if (i >= para.nImgPt) return;
  float* products = storage.shpT[thread];
  float* residuals = storage.shRms[thread];
  RayEntry entry = RayEntryOf(arrays, i);
  if (entry.nFlag == kRayIsLeftOut) {
    arrays.cupImgPt[4 * i + 2] = 0;
    arrays.cupImgPt[4 * i + 3] = 0;
    for (int k = 0; k < kPointSums; ++k) products[k] = 0;
    for (int k = 0; k < 4; ++k) residuals[k] = 0;
    return;
  }
  const ObservedRay observed = ObserveRay(arrays, i, entry, entry.nCamera);
  const RayCentre<float> B = CentreColumns(observed);
  const float C1[3] = {-B.x[0], -B.x[1], -B.x[2]}, C2[3] = {-B.y[0], -B.y[1], -B.y[2]};
  const float Lx = observed.Ray.Lx, Ly = observed.Ray.Ly;
  arrays.cupImgPt[4 * i + 2] = Lx;
  arrays.cupImgPt[4 * i + 3] = Ly;

  const auto gross = static_cast<float>(static_cast<double>(para.nGrossFactor100) / 100.0);
  const bool isGross = entry.nType == 0 &&
                       (std::fabs(Lx) > gross * arrays.cupRms[2] || std::fabs(Ly) > gross * arrays.cupRms[3]);
  entry.nFlag = isGross ? kRayIsGross : kRayCounts;
  arrays.cupImgIdx[4 * i + 3] = entry.nFlag;
  residuals[0] = isGross ? 0.0f : Lx;
  residuals[1] = isGross ? 0.0f : Ly;
  residuals[2] = isGross ? 0.0f : Lx * Lx;
  residuals[3] = isGross ? 0.0f : Ly * Ly;

  const float s = RayWeight(launch, entry);
  products[0] = s * (C1[0] * C1[0] + C2[0] * C2[0]);
  products[1] = s * (C1[0] * C1[1] + C2[0] * C2[1]);
  products[2] = s * (C1[0] * C1[2] + C2[0] * C2[2]);
  products[3] = s * (C1[1] * C1[1] + C2[1] * C2[1]);
  products[4] = s * (C1[1] * C1[2] + C2[1] * C2[2]);
  products[5] = s * (C1[2] * C1[2] + C2[2] * C2[2]);
  for (int k = 0; k < 3; ++k) products[6 + k] = s * (Lx * C1[k] + Ly * C2[k]);
}

/// Finishes a point from nine sums and stores its inverse over the control difference.
ORVO_KERNEL_CODE void StoreFinishedPoint(const DeviceArrays& arrays, int64_t point, const float* sums) {
  float* out = arrays.cupObjPt + 12 * point;
  const FinishedPoint finished =
      FinishPoint({sums[0], sums[1], sums[2], sums[3], sums[4], sums[5], sums[6], sums[7], sums[8]},
                  arrays.cupObjIdx[3 * point], ControlWeight(arrays), out[5]);
  for (int k = 0; k < 6; ++k) out[3 + k] = finished.P[k];
  for (int k = 0; k < 3; ++k) out[9 + k] = finished.e[k];
}

/// Image points stand in the order of their object points, so one walk sums each point. A point that runs
/// over a block's end leaves its sums in the tail of the block's boundary record, in the next block in the
/// head. A point longer than that leaves heads in all further blocks, which nothing joins: deliberate.
ORVO_KERNEL_CODE void SumMatrixWalk(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                                    const SumMatrixStorage& storage) {
  const DeviceArrays& arrays = launch.Arrays;
  const GpuPara& para = *arrays.cupPara;
  const int64_t base = BlockBase(chunk, block);
  float* const record = arrays.cupTR + kTailRecordFloats * (kLaunchBlocks * chunk + block);
  float* const residualSums = arrays.cupRms + 4 * block + 4;
  float sums[kPointSums] = {};
  int64_t seen = 0;
  for (int k = 0; k < kRecords && base + k < para.nImgPt; ++k) {
    const int64_t o = arrays.cupImgIdx[4 * (base + k) + 2];
    const int64_t m = arrays.cupObjIdx[3 * o + 1], p = arrays.cupObjIdx[3 * o + 2];
    const float* products = storage.shpT[k];
    if (p < base) {
      record[10] = static_cast<float>(o);
      for (int t = 0; t < kPointSums; ++t) record[11 + t] += products[t];
    } else if (p + m > base + kBlockThreads) {
      record[0] = static_cast<float>(o);
      for (int t = 0; t < kPointSums; ++t) record[1 + t] += products[t];
    } else {
      for (int t = 0; t < kPointSums; ++t) sums[t] += products[t];
      if (++seen == m) {
        StoreFinishedPoint(arrays, o, sums);
        for (int t = 0; t < kPointSums; ++t) sums[t] = 0;
        seen = 0;
      }
    }
    if (para.nSkipStatistics != 0) continue;
    for (int t = 0; t < 4; ++t) residualSums[t] += storage.shRms[k][t];
  }
}

/// Finishes the points that run over a block's end. A record that no point uses names object point 0, which
/// only record 0 takes for its own: point 0 is then finished anew from zero sums. Deliberate, like passing
/// over a point whose number is below its record's.
ORVO_KERNEL_CODE void SumMatrixFinal(const LiteralLaunch& launch) {
  const DeviceArrays& arrays = launch.Arrays;
  const GpuPara& para = *arrays.cupPara;
  const int64_t records = kLaunchBlocks * ChunkCount(para.nImgPt);
  for (int64_t s = 0; s < records - 1; ++s) {
    const float* tail = arrays.cupTR + kTailRecordFloats * s;
    const float* head = tail + kTailRecordFloats + 10;
    // Above 2^24 a float may name the point behind the last.
    if (!(tail[0] >= 0 && tail[0] < 4294967296.0f)) continue;
    const auto o = static_cast<int64_t>(tail[0]);
    if (o < s || o >= para.nObjPt) continue;
    float sums[kPointSums];
    for (int t = 0; t < kPointSums; ++t) sums[t] = tail[1 + t] + head[1 + t];
    StoreFinishedPoint(arrays, o, sums);
  }
  if (para.nSkipStatistics != 0) return;
  for (int t = 0; t < 4; ++t) arrays.cupRms[t] = 0;
  for (int64_t block = 0; block < kLaunchBlocks; ++block) {
    for (int t = 0; t < 4; ++t) arrays.cupRms[t] += arrays.cupRms[4 * block + 4 + t];
  }
}

}  // namespace orvo::gpu
