#include "gpu/kernels/literal/LiteralKernels.h"

#include <memory>

#include "gpu/kernels/CudaLaunch.h"
#include "gpu/kernels/literal/LiteralConstVector.h"
#include "gpu/kernels/literal/LiteralMatrixVector.h"
#include "gpu/kernels/literal/LiteralPreconditioner.h"
#include "gpu/kernels/literal/LiteralPreconditionerIop.h"
#include "gpu/kernels/literal/LiteralSumMatrix.h"

namespace orvo::gpu {
namespace {

/// Blocks one after the other, their threads between two barriers likewise.
template <class Storage, class Thread, class Walk>
void ForAllBlocks(int64_t chunks, Thread thread, Walk walk) {
  const auto storage = std::make_unique<Storage>();
  for (int64_t block = 0; block < kLaunchBlocks; ++block) {
    for (int64_t chunk = 0; chunk < chunks; ++chunk) {
      for (int t = 0; t < kRecords; ++t) thread(chunk, block, t, *storage);
      walk(chunk, block, *storage);
    }
  }
}

int RunLiteralKernel(const KernelCall& call) {
  switch (call.Which) {
    case Kernel::SumMatrix:
      ComputeSumMatrix(call.Arrays, call.fGrossWeight);
      break;
    case Kernel::ConstVector:
      ComputeConstVector(call.Arrays, call.fGrossWeight);
      break;
    case Kernel::Preconditioner:
      ComputePreconditionerGPU(call.Arrays, call.fGrossWeight);
      break;
    case Kernel::PreconditionerIop:
      ComputePreconditionerGPU_IOP(call.Arrays, call.fGrossWeight);
      break;
    case Kernel::MatrixVectorAd:
      ComputeMatrixVectorAd(call.Arrays, call.fGrossWeight);
      break;
  }
  return 0;
}

}  // namespace

#ifdef ORVO_WITH_CUDA
const LiteralKernels kLiteralKernels = {RunLiteralKernel, LaunchLiteralKernel};
#else
const LiteralKernels kLiteralKernels = {RunLiteralKernel, nullptr};
#endif

void ComputeSumMatrix(const DeviceArrays& arrays, float grossWeight) {
  const LiteralLaunch launch = {arrays, grossWeight};
  ForAllBlocks<SumMatrixStorage>(
      ChunkCount(arrays.cupPara->nImgPt),
      [&](int64_t chunk, int64_t block, int t, SumMatrixStorage& storage) {
        SumMatrixThread(launch, chunk, block, t, storage);
      },
      [&](int64_t chunk, int64_t block, const SumMatrixStorage& storage) {
        SumMatrixWalk(launch, chunk, block, storage);
      });
  SumMatrixFinal(launch);
}

void ComputeConstVector(const DeviceArrays& arrays, float grossWeight) {
  const LiteralLaunch launch = {arrays, grossWeight};
  ForAllBlocks<ConstVectorStorage>(
      ChunkCount(arrays.cupPara->nImgPt),
      [&](int64_t chunk, int64_t block, int t, ConstVectorStorage& storage) {
        ConstVectorThread(launch, chunk, block, t, storage);
      },
      [&](int64_t chunk, int64_t block, const ConstVectorStorage& storage) {
        ConstVectorWalk(launch, chunk, block, storage);
      });
  ConstVectorFinal(launch);
}

void ComputePreconditionerGPU(const DeviceArrays& arrays, float grossWeight) {
  const LiteralLaunch launch = {arrays, grossWeight};
  ForAllBlocks<PreconditionerStorage>(
      ChunkCount(arrays.cupPara->nImgPt),
      [&](int64_t chunk, int64_t block, int t, PreconditionerStorage& storage) {
        PreconditionerThread(launch, chunk, block, t, storage);
      },
      [&](int64_t chunk, int64_t block, const PreconditionerStorage& storage) {
        PreconditionerWalk(launch, chunk, block, storage);
      });
  PreconditionerFinal(launch);
}

void ComputePreconditionerGPU_IOP(const DeviceArrays& arrays, float grossWeight) {
  const LiteralLaunch launch = {arrays, grossWeight};
  ForAllBlocks<PreconditionerIopStorage>(
      PairChunkCount(*arrays.cupPara),
      [&](int64_t chunk, int64_t block, int t, PreconditionerIopStorage& storage) {
        PreconditionerIopThread(launch, chunk, block, t, storage);
      },
      [&](int64_t, int64_t block, const PreconditionerIopStorage& storage) {
        PreconditionerIopWalk(launch, block, storage);
      });
  PreconditionerIopFinal(launch);
}

void ComputeMatrixVectorAd(const DeviceArrays& arrays, float grossWeight) {
  const LiteralLaunch launch = {arrays, grossWeight};
  ForAllBlocks<MatrixVectorStorage>(
      PairChunkCount(*arrays.cupPara),
      [&](int64_t chunk, int64_t block, int t, MatrixVectorStorage& storage) {
        MatrixVectorThread(launch, chunk, block, t, storage);
      },
      [&](int64_t, int64_t block, const MatrixVectorStorage& storage) {
        MatrixVectorWalk(launch, block, storage);
      });
  MatrixVectorFinal(launch);
}

}  // namespace orvo::gpu
