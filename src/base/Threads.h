// Everything that starts threads: the one place where threads are made, and the ways to share out work.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace orvo {

/// A thread beside the calling one, joined at the latest when this ends.
class HelperThread {
 public:
  HelperThread() = default;
  ~HelperThread() { Join(); }
  HelperThread(HelperThread&&) noexcept = default;
  HelperThread& operator=(HelperThread&&) = delete;

  /// Calls `work` on a new thread; false where the system grants none, and nothing was called then. Not to be
  /// called while an earlier work has not been joined. `work` must not throw.
  bool Start(std::function<void()> work);
  /// Started and not joined.
  bool IsStarted() const { return Thread.joinable(); }
  /// Waits for the work to end; without one, returns at once.
  void Join();
  std::thread::native_handle_type Handle() { return Thread.native_handle(); }

 private:
  std::thread Thread;
};

/// Calls work(i) once for each i in [0, count), each on a thread of its own, and finished(i) on the calling
/// thread as soon as work(i) and all before it are done, in the order of i. A single task needs no thread,
/// and where the system grants none the work is done by the calling thread. Neither may throw.
void RunTasks(int32_t count, const std::function<void(int32_t)>& work,
              const std::function<void(int32_t)>& finished);

/// Calls task(i) once for each i in [0, count), in no particular order, on up to `threads` threads of which
/// the calling one is the first, and returns when all are done. Runs with fewer threads where the system
/// grants no more. `task` must not throw.
void ParallelFor(int64_t count, int threads, const std::function<void(int64_t)>& task);

/// How many of `threads` threads find something to do among `count` pieces; at least 1.
int ParallelThreadNum(int64_t count, int threads);

/// The same for work whose results are taken one after the other. Calls make(i, k) for each i in [0, count),
/// on up to `threads` threads, and behind it, on the same thread, take(i, k): that in the order of i and
/// never two at a time. k, below `threads`, numbers the threads, so that each can have a place of its own for
/// what it makes.
void ParallelInOrder(int64_t count, int threads, const std::function<void(int64_t, int)>& make,
                     const std::function<void(int64_t, int)>& take);

/// A few threads that share the work of many short loops. Started once, used for many runs. A run hands out
/// the numbers 0 to count - 1, each to one thread, in no particular order between threads: tasks that own
/// their outputs give the same result with any thread number.
class WorkerPool {
 public:
  /// `threadNum` counts the caller, who works too; 1 or less starts no thread. Where the system refuses
  /// further threads, those that were started do the work.
  explicit WorkerPool(int32_t threadNum);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  int32_t ThreadNum() const { return static_cast<int32_t>(Threads.size()) + 1; }

  /// Calls task(i) for each i below `count` and returns when all are done. Not to be called from a task.
  template <typename Task>
  void Run(int32_t count, const Task& task) {
    if (Threads.empty() || count < 2) {
      for (int32_t i = 0; i < count; ++i) task(i);
      return;
    }
    RunShared(count, &task, [](const void* shared, int32_t i) { (*static_cast<const Task*>(shared))(i); });
  }

 private:
  using Call = void (*)(const void* task, int32_t index);

  void RunShared(int32_t count, const void* task, Call call);
  void Work();
  bool TakeOne(uint64_t& ticket);
  void Stop();

  std::vector<HelperThread> Threads;
  // Number of the run in the upper half, tasks not yet taken in the lower half. One word, so that a thread
  // that comes late can't take a task of a run that it hasn't seen; the fields below stand still while a task
  // is out.
  std::atomic<uint64_t> nTicket{0};
  std::atomic<int32_t> nDone{0};
  std::atomic<bool> bStop{false};
  int32_t nCount = 0;
  const void* pTask = nullptr;
  Call fCall = nullptr;
};

}  // namespace orvo
