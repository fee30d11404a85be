#include "base/Threads.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace orvo {
namespace {

/// Calls work(k) on each of the threads; k numbers them from 0, the calling one. Where the system grants no
/// more, those that did start do the work.
template <typename Work>
void OnThreads(int threads, const Work& work) {
  std::vector<HelperThread> helpers(static_cast<size_t>(threads - 1));
  for (int k = 1; k < threads; ++k) {
    if (!helpers[static_cast<size_t>(k - 1)].Start([&work, k] { work(k); })) break;
  }
  work(0);
}

constexpr uint64_t kTaskMask = 0xffffffffu, kNextRun = kTaskMask + 1;
// The loops of one solve follow each other within microseconds, so that a thread looks a few times before it
// goes to sleep.
constexpr int kLooksBeforeSleep = 64;

template <typename T>
T WaitForChange(const std::atomic<T>& word, T seen) {
  for (int look = 0; look < kLooksBeforeSleep; ++look) {
    const T now = word.load(std::memory_order_acquire);
    if (now != seen) return now;
    std::this_thread::yield();
  }
  word.wait(seen, std::memory_order_acquire);
  return word.load(std::memory_order_acquire);
}

}  // namespace

bool HelperThread::Start(std::function<void()> work) {
  try {
    Thread = std::thread(std::move(work));
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void HelperThread::Join() {
  if (Thread.joinable()) Thread.join();
}

void RunTasks(int32_t count, const std::function<void(int32_t)>& work,
              const std::function<void(int32_t)>& finished) {
  std::vector<HelperThread> threads(count > 0 ? static_cast<size_t>(count) : 0);
  for (int32_t i = 0; i < count; ++i) {
    if (count > 1 && threads[static_cast<size_t>(i)].Start([&work, i] { work(i); })) continue;
    work(i);
  }
  for (int32_t i = 0; i < count; ++i) {
    threads[static_cast<size_t>(i)].Join();
    finished(i);
  }
}

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

WorkerPool::WorkerPool(int32_t threadNum) {
  Threads.reserve(static_cast<size_t>(std::max(threadNum - 1, 0)));
  try {
    for (int32_t i = 1; i < threadNum; ++i) {
      HelperThread thread;
      if (!thread.Start([this] { Work(); })) break;
      Threads.push_back(std::move(thread));
    }
  } catch (...) {
    Stop();  // Who waits for work would never be joined.
    throw;
  }
}

WorkerPool::~WorkerPool() { Stop(); }

void WorkerPool::Stop() {
  bStop.store(true);
  nTicket.fetch_add(kNextRun);
  nTicket.notify_all();
  Threads.clear();
}

bool WorkerPool::TakeOne(uint64_t& ticket) {
  while ((ticket & kTaskMask) != 0) {
    if (!nTicket.compare_exchange_weak(ticket, ticket - 1, std::memory_order_acq_rel)) continue;
    const int32_t count = nCount;
    fCall(pTask, count - static_cast<int32_t>(ticket & kTaskMask));
    if (nDone.fetch_add(1, std::memory_order_acq_rel) + 1 == count) nDone.notify_one();
    return true;
  }
  return false;
}

void WorkerPool::Work() {
  uint64_t ticket = nTicket.load(std::memory_order_acquire);
  while (!bStop.load(std::memory_order_acquire)) {
    ticket = TakeOne(ticket) ? nTicket.load(std::memory_order_acquire) : WaitForChange(nTicket, ticket);
  }
}

void WorkerPool::RunShared(int32_t count, const void* task, Call call) {
  nCount = count;
  pTask = task;
  fCall = call;
  nDone.store(0, std::memory_order_relaxed);
  uint64_t ticket = nTicket.load(std::memory_order_relaxed);
  ticket = (ticket & ~kTaskMask) + kNextRun + static_cast<uint32_t>(count);
  nTicket.store(ticket, std::memory_order_release);
  nTicket.notify_all();
  while (TakeOne(ticket)) ticket = nTicket.load(std::memory_order_acquire);
  for (int32_t done = nDone.load(std::memory_order_acquire); done != count;)
    done = WaitForChange(nDone, done);
}

}  // namespace orvo
