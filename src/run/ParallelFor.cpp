#include "run/ParallelFor.h"

#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace orvo {

void ParallelFor(int64_t count, int threads, const std::function<void(int64_t)>& task) {
  std::atomic<int64_t> next = 0;
  const auto work = [&] {
    for (int64_t i = next++; i < count; i = next++) task(i);
  };
  std::vector<std::thread> helpers;
  try {
    for (int64_t i = 1; i < threads && i < count; ++i) helpers.emplace_back(work);
  } catch (const std::system_error&) {
    // The threads that did start, and this one, do the work.
  }
  work();
  for (std::thread& helper : helpers) helper.join();
}

}  // namespace orvo
