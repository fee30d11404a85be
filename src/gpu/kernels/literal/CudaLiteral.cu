// The literal kernels on a CUDA device: what LiteralKernels.cpp does in loops, in blocks and threads. Nothing
// is fused, so that the device and the processor flag the same rays.
#include <cuda_runtime.h>

#include "gpu/kernels/CudaLaunch.h"
#include "gpu/kernels/literal/LiteralConstVector.h"
#include "gpu/kernels/literal/LiteralMatrixVector.h"
#include "gpu/kernels/literal/LiteralPreconditioner.h"
#include "gpu/kernels/literal/LiteralPreconditionerIop.h"
#include "gpu/kernels/literal/LiteralSumMatrix.h"

namespace orvo::gpu {
namespace {

/// Blocks that are done with a launch; 0 between launches. A sum of their numbers would not wait for block 0.
__device__ uint32_t count;
/// Rays that are not gross; 0 between launches.
__device__ uint32_t nVaildImgPt;

/// The vector that the copies of the blocks are added to.
struct CopySum {
  const float* pCopies;
  int64_t nStride, nFirst, nLength;
  float* pSums;
};

struct SumMatrix {
  using Storage = SumMatrixStorage;
  static __device__ int64_t Chunks(const GpuPara& para) { return ChunkCount(para.nImgPt); }
  static __device__ void Thread(const LiteralLaunch& launch, int64_t chunk, int64_t block, int t,
                                Storage& storage) {
    SumMatrixThread(launch, chunk, block, t, storage);
    const int64_t i = BlockBase(chunk, block) + t;
    const DeviceArrays& arrays = launch.Arrays;
    if (i < arrays.cupPara->nImgPt && arrays.cupImgIdx[4 * i + 3] == kRayCounts) atomicAdd(&nVaildImgPt, 1u);
  }
  static __device__ void Walk(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                              const Storage& storage) {
    SumMatrixWalk(launch, chunk, block, storage);
  }
  static __device__ void Final(const LiteralLaunch& launch) {
    if (threadIdx.x != 0) return;
    SumMatrixFinal(launch);
    nVaildImgPt = 0;
  }
};

/// The threads of the last block share the vector out; each element gets the copies in the order of the
/// blocks.
__device__ void AddCopies(const CopySum& sum) {
  for (int64_t k = sum.nFirst + threadIdx.x; k < sum.nFirst + sum.nLength; k += blockDim.x)
    AddBlockCopies(sum.pCopies, sum.nStride, k, 1, sum.pSums);
}

struct ConstVector {
  using Storage = ConstVectorStorage;
  static __device__ int64_t Chunks(const GpuPara& para) { return ChunkCount(para.nImgPt); }
  static __device__ void Thread(const LiteralLaunch& launch, int64_t chunk, int64_t block, int t,
                                Storage& storage) {
    ConstVectorThread(launch, chunk, block, t, storage);
  }
  static __device__ void Walk(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                              const Storage& storage) {
    ConstVectorWalk(launch, chunk, block, storage);
  }
  static __device__ void Final(const LiteralLaunch& launch) {
    const int64_t length = launch.Arrays.cupPara->nUnknownLen;
    AddCopies({launch.Arrays.cuptR, length, 0, length, launch.Arrays.cupR});
  }
};

struct Preconditioner {
  using Storage = PreconditionerStorage;
  static __device__ int64_t Chunks(const GpuPara& para) { return ChunkCount(para.nImgPt); }
  static __device__ void Thread(const LiteralLaunch& launch, int64_t chunk, int64_t block, int t,
                                Storage& storage) {
    PreconditionerThread(launch, chunk, block, t, storage);
  }
  static __device__ void Walk(const LiteralLaunch& launch, int64_t chunk, int64_t block,
                              const Storage& storage) {
    PreconditionerWalk(launch, chunk, block, storage);
  }
  static __device__ void Final(const LiteralLaunch& launch) {
    const int64_t length = launch.Arrays.cupPara->nPrecondLen;
    AddCopies({launch.Arrays.cuptM, length, 0, length, launch.Arrays.cupM});
  }
};

struct PreconditionerIop {
  using Storage = PreconditionerIopStorage;
  static __device__ int64_t Chunks(const GpuPara& para) { return PairChunkCount(para); }
  static __device__ void Thread(const LiteralLaunch& launch, int64_t chunk, int64_t block, int t,
                                Storage& storage) {
    PreconditionerIopThread(launch, chunk, block, t, storage);
  }
  static __device__ void Walk(const LiteralLaunch& launch, int64_t, int64_t block, const Storage& storage) {
    PreconditionerIopWalk(launch, block, storage);
  }
  static __device__ void Final(const LiteralLaunch& launch) {
    const GpuPara& para = *launch.Arrays.cupPara;
    const bool behind = para.nMode == LayoutEopIop;
    AddCopies({launch.Arrays.cuptM, para.nPrecondLen, CameraBlockBase(para),
               behind ? kCameraBlock * para.nCameraCount : para.nPrecondLen, launch.Arrays.cupM});
  }
};

struct MatrixVector {
  using Storage = MatrixVectorStorage;
  static __device__ int64_t Chunks(const GpuPara& para) { return PairChunkCount(para); }
  static __device__ void Thread(const LiteralLaunch& launch, int64_t chunk, int64_t block, int t,
                                Storage& storage) {
    MatrixVectorThread(launch, chunk, block, t, storage);
  }
  static __device__ void Walk(const LiteralLaunch& launch, int64_t, int64_t block, const Storage& storage) {
    MatrixVectorWalk(launch, block, storage);
  }
  static __device__ void Final(const LiteralLaunch& launch) {
    const int64_t length = launch.Arrays.cupPara->nUnknownLen;
    AddCopies({launch.Arrays.cuptAd, length, 0, length, launch.Arrays.cupAd});
  }
};

/// Whether this block is the last one of the launch to be done. What the others wrote is then to be seen.
__device__ bool BlockDone() {
  __shared__ bool isLastBlockDone;
  if (threadIdx.x == 0) {
    __threadfence();
    isLastBlockDone = atomicAdd(&count, 1u) == gridDim.x - 1;
    __threadfence();
  }
  __syncthreads();
  return isLastBlockDone;
}

template <class Kernel>
__global__ void __launch_bounds__(kBlockThreads, 1) RunLiteral(const LiteralLaunch launch) {
  extern __shared__ __align__(16) unsigned char shared[];
  auto& storage = *reinterpret_cast<typename Kernel::Storage*>(shared);
  const int64_t chunks = Kernel::Chunks(*launch.Arrays.cupPara);
  for (int64_t chunk = 0; chunk < chunks; ++chunk) {
    Kernel::Thread(launch, chunk, blockIdx.x, static_cast<int>(threadIdx.x), storage);
    __syncthreads();
    if (threadIdx.x == 0) Kernel::Walk(launch, chunk, blockIdx.x, storage);
    __syncthreads();
  }
  if (!BlockDone()) return;
  Kernel::Final(launch);
  if (threadIdx.x == 0) count = 0;
}

template <class Kernel>
int Launch(const KernelCall& call) {
  const LiteralLaunch launch = {call.Arrays, call.fGrossWeight};
  RunLiteral<Kernel><<<kLaunchBlocks, kBlockThreads, sizeof(typename Kernel::Storage)>>>(launch);
  return static_cast<int>(cudaGetLastError());
}

}  // namespace

int LaunchLiteralKernel(const KernelCall& call) {
  switch (call.Which) {
    case Kernel::SumMatrix:
      return Launch<SumMatrix>(call);
    case Kernel::ConstVector:
      return Launch<ConstVector>(call);
    case Kernel::Preconditioner:
      return Launch<Preconditioner>(call);
    case Kernel::PreconditionerIop:
      return Launch<PreconditionerIop>(call);
    case Kernel::MatrixVectorAd:
      return Launch<MatrixVector>(call);
  }
  return cudaErrorInvalidValue;
}

}  // namespace orvo::gpu
