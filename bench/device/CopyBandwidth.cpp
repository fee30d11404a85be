#include "device/CopyBandwidth.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#ifdef ORVO_WITH_CUDA
#include <cuda_runtime.h>
#endif

namespace orvo::bench {
namespace {

constexpr int kRounds = 5;

template <class F>
double BestSeconds(const F& f) {
  double best = 1e300;
  for (int round = 0; round < kRounds; ++round) {
    const auto begin = std::chrono::steady_clock::now();
    f();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
  return best;
}

}  // namespace

double HostCopyBandwidth(int processors) {
  constexpr size_t kBytes = size_t{256} << 20;
  const auto count = static_cast<size_t>(std::max(processors, 1));
  const auto from = std::make_unique<char[]>(kBytes), to = std::make_unique<char[]>(kBytes);
  const double seconds = BestSeconds([&] {
    std::vector<std::thread> threads;
    for (size_t k = 0; k < count; ++k) {
      threads.emplace_back([&, k] {
        const size_t begin = kBytes / count * k, end = k + 1 == count ? kBytes : kBytes / count * (k + 1);
        std::memcpy(to.get() + begin, from.get() + begin, end - begin);
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
  return 2 * static_cast<double>(kBytes) / seconds;
}

double CudaCopyBandwidth() {
#ifdef ORVO_WITH_CUDA
  constexpr size_t kBytes = size_t{1} << 30;
  constexpr int kCopies = 10;
  void *from = nullptr, *to = nullptr;
  double bandwidth = 0;
  if (cudaMalloc(&from, kBytes) == cudaSuccess && cudaMalloc(&to, kBytes) == cudaSuccess) {
    bool good = cudaMemset(from, 0, kBytes) == cudaSuccess && cudaDeviceSynchronize() == cudaSuccess;
    const double seconds = BestSeconds([&] {
      for (int k = 0; k < kCopies; ++k)
        good = good && cudaMemcpyAsync(to, from, kBytes, cudaMemcpyDeviceToDevice) == cudaSuccess;
      good = good && cudaDeviceSynchronize() == cudaSuccess;
    });
    if (good) bandwidth = 2.0 * kCopies * static_cast<double>(kBytes) / seconds;
  }
  cudaFree(from);
  cudaFree(to);
  return bandwidth;
#else
  return 0;
#endif
}

}  // namespace orvo::bench
