// What a kernel is called with, on whatever device.
#pragma once

#include <cstdint>

#include "gpu/kernels/DeviceArrays.h"
#include "gpu/kernels/GpuPara.h"

namespace orvo::gpu {

/// The steps of the device path. In the fast form, one may be several launches.
enum class Kernel { SumMatrix, ConstVector, Preconditioner, PreconditionerIop, MatrixVectorAd };

/// Literal: blocks, threads and a serial walk. Fast: by object point and by image.
enum class KernelForm { Fast, Literal };

struct KernelCall {
  KernelForm Form = KernelForm::Fast;
  Kernel Which = Kernel::SumMatrix;
  DeviceArrays Arrays;
  GpuPara Para;           ///< what cupPara holds
  int64_t nImageNum = 0;  ///< rows of cupEop
  float fGrossWeight = kGrossRayWeight;
};

/// How devices run the literal form. Who wants it hands them kLiteralKernels of literal/LiteralKernels.h and
/// links orvo_gpu_literal; the fast form needs none of it. Each answers 0 or the code of the device.
struct LiteralKernels {
  int (*OnHost)(const KernelCall& call) = nullptr;  ///< over arrays in the processor's memory
  int (*OnCuda)(const KernelCall& call) = nullptr;  ///< on the current CUDA device; null without CUDA
};

}  // namespace orvo::gpu
