#include "run/ParallelFor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace orvo {
namespace {

TEST(ParallelFor, DoesEachTaskOnce) {
  for (const int threads : {-1, 0, 1, 2, 7}) {
    for (const int64_t count : {-1, 0, 1, 5, 1000}) {
      std::vector<std::atomic<int>> done(count > 0 ? static_cast<size_t>(count) : 0);
      ParallelFor(count, threads, [&](int64_t i) { ++done[static_cast<size_t>(i)]; });
      for (const auto& times : done) EXPECT_EQ(times, 1) << threads << " threads, " << count << " tasks";
    }
  }
}

TEST(ParallelFor, WithOneThreadStaysOnTheCallingOne) {
  const auto caller = std::this_thread::get_id();
  ParallelFor(3, 1, [&](int64_t) { EXPECT_EQ(std::this_thread::get_id(), caller); });
}

}  // namespace
}  // namespace orvo
