#include "base/FileSync.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace orvo {
namespace {

constexpr size_t kMostThreads = 8;

}  // namespace

int SyncPath(const std::string& path) {
  int handle, result;
  do {
    handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (handle < 0 && errno == EINTR);
  if (handle < 0) return errno;
  do {
    result = ::fsync(handle);
  } while (result != 0 && errno == EINTR);
  int error = result == 0 ? 0 : errno;
  if (error == EINVAL || error == ENOTSUP || error == ENOSYS) error = 0;
  if (::close(handle) != 0 && error == 0 && errno != EINTR) error = errno;
  return error;
}

void FileSync::Add(std::string path, std::string shown) {
  std::unique_lock lock(Mutex);
  Jobs.push_back({std::move(path), std::move(shown)});
  if (Jobs.size() > nIdle && Threads.size() < kMostThreads) {
    // Finish does what no thread has done. Room first: nothing may fail behind the start.
    Threads.reserve(kMostThreads);
    if (HelperThread thread; thread.Start([this] { Work(); })) Threads.push_back(std::move(thread));
  }
  Changed.notify_one();
}

bool FileSync::DoOne(std::unique_lock<std::mutex>& lock) {
  if (Jobs.empty()) return false;
  const Job job = std::move(Jobs.front());
  Jobs.pop_front();
  lock.unlock();
  const int error = SyncPath(job.szPath);
  lock.lock();
  if (error != 0 && !First.Any()) First = {job.szShown, "synchronize", error};
  return true;
}

void FileSync::Work() {
  std::unique_lock lock(Mutex);
  while (true) {
    if (DoOne(lock)) continue;
    if (bLast) return;
    ++nIdle;
    Changed.wait(lock, [this] { return bLast || !Jobs.empty(); });
    --nIdle;
  }
}

OutputFault FileSync::Finish() {
  std::unique_lock lock(Mutex);
  bLast = true;
  Changed.notify_all();
  while (DoOne(lock)) {
  }
  lock.unlock();
  Threads.clear();
  bLast = false;
  return std::exchange(First, {});
}

}  // namespace orvo
