#include "base/ParallelFor.h"

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

TEST(ParallelFor, CountsThreadsWithWork) {
  EXPECT_EQ(ParallelThreadNum(100, 4), 4);
  EXPECT_EQ(ParallelThreadNum(3, 4), 3);
  EXPECT_EQ(ParallelThreadNum(0, 4), 1);
  EXPECT_EQ(ParallelThreadNum(5, -2), 1);
}

TEST(ParallelInOrder, TakesInOrderWhatItsThreadHasMade) {
  for (const int threads : {-1, 1, 2, 7}) {
    for (const int64_t count : {-1, 0, 1, 5, 2000}) {
      std::vector<int64_t> made(7, -1), taken;
      ParallelInOrder(
          count, threads, [&](int64_t i, int k) { made[static_cast<size_t>(k)] = i; },
          [&](int64_t i, int k) {
            EXPECT_EQ(made[static_cast<size_t>(k)], i);
            taken.push_back(i);
          });
      ASSERT_EQ(std::ssize(taken), std::max<int64_t>(count, 0)) << threads << " threads";
      for (size_t i = 0; i < taken.size(); ++i) ASSERT_EQ(taken[i], static_cast<int64_t>(i));
    }
  }
}

}  // namespace
}  // namespace orvo
