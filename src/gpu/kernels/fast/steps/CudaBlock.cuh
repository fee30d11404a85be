// A block of the steps of the fast kernels on a CUDA device, and their launcher.
#pragma once

#include <cuda_runtime.h>

#include "gpu/kernels/CudaLaunch.h"
#include "gpu/kernels/fast/steps/FastStep.h"

namespace orvo::gpu {

class CudaBlock {
 public:
  template <class T>
  struct PerLane {
    T Value;
    __device__ T& operator[](int) { return Value; }
  };

  __device__ int64_t Index() const { return blockIdx.x; }
  __device__ int Lanes() const { return static_cast<int>(blockDim.x); }

  template <class F>
  __device__ void EachLane(F f) {
    f(static_cast<int>(threadIdx.x));
    __syncthreads();
  }

  __device__ bool Any(PerLane<bool>& flags) { return __syncthreads_or(flags.Value) != 0; }

  template <int K>
  __device__ void SumLanes(PerLane<FastSums<K>>& sums, FastScratch<K>& scratch) {
    const unsigned warp = threadIdx.x / 32;
#pragma unroll
    for (int k = 0; k < K; ++k) {
      float value = sums.Value.v[k];
#pragma unroll
      for (int away = 16; away > 0; away /= 2) value += __shfl_down_sync(0xffffffffu, value, away);
      if (threadIdx.x % 32 == 0) scratch.Warp[warp][k] = value;
    }
    __syncthreads();
    for (unsigned k = threadIdx.x; k < K; k += blockDim.x) {
      float total = scratch.Warp[0][k];
      for (unsigned w = 1; w < blockDim.x / 32; ++w) total += scratch.Warp[w][k];
      scratch.Total[k] = total;
    }
    __syncthreads();
  }
};

template <class Step>
__global__ void __launch_bounds__(Step::kThreads, Step::kMinBlocks) RunStep(const Step step) {
  __shared__ typename Step::Shared shared;
  CudaBlock block;
  step.Run(block, shared);
}

/// Launches steps one after the other until one is refused.
class CudaLauncher {
 public:
  template <class Step>
  void operator()(const Step& step, int64_t blocks, int lanes) {
    if (nStatus != cudaSuccess || blocks <= 0) return;
    if (blocks > kMaxLaunchBlocks) {
      nStatus = cudaErrorInvalidConfiguration;
      return;
    }
    RunStep<Step><<<static_cast<unsigned>(blocks), static_cast<unsigned>(lanes)>>>(step);
    nStatus = cudaGetLastError();
  }
  int Status() const { return static_cast<int>(nStatus); }

 private:
  cudaError_t nStatus = cudaSuccess;
};

}  // namespace orvo::gpu
