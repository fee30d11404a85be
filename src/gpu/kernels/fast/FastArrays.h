// All that a kernel of the fast form reads and writes, on a device and on the processor.
#pragma once

#include <cstdint>

#include "gpu/kernels/KernelCall.h"
#include "gpu/kernels/fast/FastLayout.h"

namespace orvo::gpu {

/// By value, for launches.
struct FastArrays {
  FastSection Section;
  FastWork Work;
  const float* pEop = nullptr;
  const float* pIop = nullptr;
  const float* pDirection = nullptr;
  float* pRms = nullptr;
  float* pConst = nullptr;
  float* pPrecond = nullptr;
  float* pProduct = nullptr;
  int64_t nImages = 0, nCameras = 0;
  int64_t nEopBlocks = 0;  ///< image blocks in front of those of the cameras
  int nMode = 0;
  float fControlWeight = 0, fGrossWeight = 0, fGrossFactor = 0;
};

inline FastArrays FastArraysOf(const KernelCall& call) {
  const DeviceArrays& arrays = call.Arrays;
  FastArrays a;
  a.Section = FastSectionOf(arrays, call.Para.nImgPt, call.Para.nObjPt);
  a.Work = FastWorkOf(arrays.cupFast, call.nImageNum, call.Para.nCameraCount);
  a.pEop = arrays.cupEop;
  a.pIop = arrays.cupIop;
  a.pDirection = arrays.cupD;
  a.pRms = arrays.cupRms;
  a.pConst = arrays.cupR;
  a.pPrecond = arrays.cupM;
  a.pProduct = arrays.cupAd;
  a.nImages = call.nImageNum;
  a.nCameras = call.Para.nCameraCount;
  a.nEopBlocks = call.Para.nImageCount;
  a.nMode = static_cast<int>(call.Para.nMode);
  a.fControlWeight = static_cast<float>(call.Para.nControlWeight);
  a.fGrossWeight = call.fGrossWeight;
  a.fGrossFactor = static_cast<float>(static_cast<double>(call.Para.nGrossFactor100) / 100.0);
  return a;
}

}  // namespace orvo::gpu
