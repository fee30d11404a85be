#include "base/WorkerPool.h"

#include <system_error>

namespace orvo {
namespace {

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

WorkerPool::WorkerPool(int32_t threadNum) {
  try {
    for (int32_t i = 1; i < threadNum; ++i) Threads.emplace_back([this] { Work(); });
  } catch (const std::system_error&) {
  }
}

WorkerPool::~WorkerPool() {
  bStop.store(true);
  nTicket.fetch_add(kNextRun);
  nTicket.notify_all();
  for (std::thread& thread : Threads) thread.join();
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
