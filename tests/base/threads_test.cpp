#include "base/Threads.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <numeric>
#include <set>
#include <thread>
#include <vector>

namespace orvo {
namespace {

/// While it lives the system grants no thread: each would begin with a stack larger than all addresses.
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&Before);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, size_t{1} << 60);
    bSet = pthread_setattr_default_np(&huge) == 0;
    pthread_attr_destroy(&huge);
  }
  ~NoThreads() {
    pthread_setattr_default_np(&Before);
    pthread_attr_destroy(&Before);
  }
  /// Whether it is so on this system.
  bool Holds() const {
    HelperThread thread;
    return bSet && !thread.Start([] {});
  }

 private:
  pthread_attr_t Before;
  bool bSet = false;
};

TEST(HelperThread, RunsBesideTheCallerUntilItIsJoined) {
  HelperThread thread;
  EXPECT_FALSE(thread.IsStarted());
  thread.Join();
  std::atomic<int> step = 0;
  std::thread::id id;
  ASSERT_TRUE(thread.Start([&] {
    id = std::this_thread::get_id();
    step.wait(0);
    ++step;
  }));
  EXPECT_TRUE(thread.IsStarted());
  step = 1;
  step.notify_all();
  thread.Join();
  EXPECT_FALSE(thread.IsStarted());
  EXPECT_EQ(step, 2);
  EXPECT_NE(id, std::this_thread::get_id());
}

TEST(HelperThread, IsJoinedByItsEndAndCanStartAgain) {
  int sum = 0;
  {
    HelperThread thread;
    ASSERT_TRUE(thread.Start([&] { sum += 1; }));
    thread.Join();
    ASSERT_TRUE(thread.Start([&] { sum += 10; }));
  }
  EXPECT_EQ(sum, 11);
}

TEST(HelperThread, CallsNothingWhereTheSystemGrantsNone) {
  const NoThreads none;
  if (!none.Holds()) GTEST_SKIP() << "the system grants threads of any size";
  HelperThread thread;
  bool called = false;
  EXPECT_FALSE(thread.Start([&] { called = true; }));
  EXPECT_FALSE(thread.IsStarted());
  EXPECT_FALSE(called);
}

TEST(RunTasks, FinishesEachTaskInOrderBehindItsWork) {
  for (const int32_t count : {-1, 0, 1, 2, 40}) {
    std::vector<std::atomic<int>> done(count > 0 ? static_cast<size_t>(count) : 0);
    std::vector<int32_t> finished;
    const auto caller = std::this_thread::get_id();
    RunTasks(
        count, [&](int32_t i) { ++done[static_cast<size_t>(i)]; },
        [&](int32_t i) {
          EXPECT_EQ(std::this_thread::get_id(), caller);
          EXPECT_EQ(done[static_cast<size_t>(i)], 1);
          finished.push_back(i);
        });
    std::vector<int32_t> all(done.size());
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(finished, all) << count << " tasks";
  }
}

TEST(RunTasks, GivesEachOfSeveralTasksAThreadAndASingleOneNone) {
  const auto caller = std::this_thread::get_id();
  RunTasks(
      1, [&](int32_t) { EXPECT_EQ(std::this_thread::get_id(), caller); }, [](int32_t) {});
  // Each waits for all: this ends only where all run at once.
  constexpr int32_t kTasks = 5;
  std::atomic<int32_t> begun = 0;
  RunTasks(
      kTasks,
      [&](int32_t) {
        EXPECT_NE(std::this_thread::get_id(), caller);
        ++begun;
        begun.notify_all();
        for (int32_t now = begun; now < kTasks; now = begun) begun.wait(now);
      },
      [](int32_t) {});
  EXPECT_EQ(begun, kTasks);
}

TEST(RunTasks, DoesTheWorkItselfWhereTheSystemGrantsNoThread) {
  const NoThreads none;
  if (!none.Holds()) GTEST_SKIP() << "the system grants threads of any size";
  const auto caller = std::this_thread::get_id();
  std::vector<int32_t> calls;
  RunTasks(
      3,
      [&](int32_t i) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        calls.push_back(i);
      },
      [&](int32_t i) { calls.push_back(10 + i); });
  EXPECT_EQ(calls, (std::vector<int32_t>{0, 1, 2, 10, 11, 12}));
}

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

TEST(ParallelFor, GoesOnWithoutThreadsThatTheSystemRefuses) {
  const NoThreads none;
  if (!none.Holds()) GTEST_SKIP() << "the system grants threads of any size";
  std::vector<int64_t> done, taken;
  ParallelFor(5, 4, [&](int64_t i) { done.push_back(i); });
  EXPECT_EQ(done, (std::vector<int64_t>{0, 1, 2, 3, 4}));
  ParallelInOrder(
      3, 4, [](int64_t, int k) { EXPECT_EQ(k, 0); }, [&](int64_t i, int) { taken.push_back(i); });
  EXPECT_EQ(taken, (std::vector<int64_t>{0, 1, 2}));
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

TEST(WorkerPool, DoesEachTaskOfEveryRunOnce) {
  for (const int32_t threads : {-1, 0, 1, 2, 5}) {
    WorkerPool pool(threads);
    EXPECT_EQ(pool.ThreadNum(), std::max(threads, 1));
    for (const int32_t count : {0, 1, 2, 3, 500}) {
      for (int run = 0; run < 20; ++run) {
        std::vector<std::atomic<int>> done(static_cast<size_t>(count));
        pool.Run(count, [&](int32_t i) { ++done[static_cast<size_t>(i)]; });
        for (const auto& times : done) ASSERT_EQ(times, 1) << threads << " threads, " << count << " tasks";
      }
    }
  }
}

TEST(WorkerPool, SharesARunBetweenItsThreads) {
  WorkerPool pool(3);
  std::mutex gate;
  std::set<std::thread::id> ids;
  std::atomic<int32_t> begun = 0;
  // Each waits for all, so that no thread can take two.
  pool.Run(3, [&](int32_t) {
    {
      const std::lock_guard lock(gate);
      ids.insert(std::this_thread::get_id());
    }
    ++begun;
    begun.notify_all();
    for (int32_t now = begun; now < 3; now = begun) begun.wait(now);
  });
  EXPECT_EQ(ids.size(), 3u);
  EXPECT_EQ(ids.count(std::this_thread::get_id()), 1u);
}

TEST(WorkerPool, WorksAloneWhereTheSystemGrantsNoThread) {
  const NoThreads none;
  if (!none.Holds()) GTEST_SKIP() << "the system grants threads of any size";
  WorkerPool pool(4);
  EXPECT_EQ(pool.ThreadNum(), 1);
  std::vector<int32_t> done;
  pool.Run(3, [&](int32_t i) { done.push_back(i); });
  EXPECT_EQ(done, (std::vector<int32_t>{0, 1, 2}));
}

}  // namespace
}  // namespace orvo
