#include "base/ParallelFor.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace orvo {
namespace {

/// Calls work(k) on each of the threads; k numbers them from 0, the calling one.
template <typename Work>
void OnThreads(int threads, const Work& work) {
  std::vector<std::thread> helpers;
  try {
    for (int k = 1; k < threads; ++k) helpers.emplace_back(work, k);
  } catch (const std::system_error&) {
    // The threads that did start, and this one, do the work.
  }
  work(0);
  for (std::thread& helper : helpers) helper.join();
}

}  // namespace

int ParallelThreadNum(int64_t count, int threads) {
  return static_cast<int>(std::clamp<int64_t>(count, 1, std::max(threads, 1)));
}

void ParallelFor(int64_t count, int threads, const std::function<void(int64_t)>& task) {
  std::atomic<int64_t> next = 0;
  OnThreads(ParallelThreadNum(count, threads), [&](int) {
    for (int64_t i = next++; i < count; i = next++) task(i);
  });
}

void ParallelInOrder(int64_t count, int threads, const std::function<void(int64_t, int)>& make,
                     const std::function<void(int64_t, int)>& take) {
  std::atomic<int64_t> next = 0, turn = 0;
  OnThreads(ParallelThreadNum(count, threads), [&](int k) {
    for (int64_t i = next++; i < count; i = next++) {
      make(i, k);
      for (int64_t now = turn.load(); now != i; now = turn.load()) turn.wait(now);
      take(i, k);
      turn.store(i + 1);
      turn.notify_all();
    }
  });
}

}  // namespace orvo
