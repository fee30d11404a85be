// A few threads that share the work of many short loops.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace orvo {

/// Started once, used for many runs. A run hands out the numbers 0 to count - 1, each to one thread, in no
/// particular order between threads: tasks that own their outputs give the same result with any thread
/// number.
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

  std::vector<std::thread> Threads;
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
