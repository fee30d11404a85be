#include "base/ScratchMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <map>
#include <utility>

#include "base/OutputFault.h"
#include "base/UnnamedFile.h"

namespace orvo {
namespace {

/// In which a fast disk fills some tens of megabytes.
constexpr std::chrono::milliseconds kWatchInterval{20};

struct Pool {
  std::mutex Mutex;
  bool bOpen = false;
  std::string szFolder;
  std::map<void*, size_t> Arrays;
};

Pool& ThePool() {
  static Pool pool;
  return pool;
}

[[noreturn]] void Fail(const std::string& folder, size_t bytes, int error) {
  throw ScratchFault("no room for " + std::to_string(bytes) + " bytes in a file without a name in " + folder +
                     ": " + OutputFault{{}, {}, error}.Reason());
}

/// Pages of files that are the process's own, in bytes.
int64_t ResidentFileBytes() {
  std::ifstream file("/proc/self/statm");
  int64_t size = 0, resident = 0, shared = 0;
  return file >> size >> resident >> shared ? shared * ::sysconf(_SC_PAGESIZE) : 0;
}

/// The numbers stay in the system's cache, or on the disk.
void ReleasePages() {
  Pool& pool = ThePool();
  const std::lock_guard lock(pool.Mutex);
  for (const auto& [array, bytes] : pool.Arrays) ::madvise(array, bytes, MADV_DONTNEED);
}

}  // namespace

ScratchMemory::ScratchMemory(std::string folder, int64_t residentBytes) {
  Pool& pool = ThePool();
  const std::lock_guard lock(pool.Mutex);
  pool.szFolder = std::move(folder);
  pool.bOpen = true;
  const int64_t others = ResidentFileBytes();
  Watcher = std::thread([this, residentBytes, others] { Watch(residentBytes + others); });
}

ScratchMemory::~ScratchMemory() {
  {
    const std::lock_guard lock(Mutex);
    bEnded = true;
  }
  Ended.notify_one();
  Watcher.join();
  Pool& pool = ThePool();
  const std::lock_guard lock(pool.Mutex);
  pool.bOpen = false;
}

void ScratchMemory::Watch(int64_t residentBytes) {
  std::unique_lock lock(Mutex);
  while (!Ended.wait_for(lock, kWatchInterval, [this] { return bEnded; })) {
    if (ResidentFileBytes() > residentBytes) ReleasePages();
  }
}

int64_t ScratchMemory::BytesInUse() {
  Pool& pool = ThePool();
  const std::lock_guard lock(pool.Mutex);
  int64_t sum = 0;
  for (const auto& [array, bytes] : pool.Arrays) sum += static_cast<int64_t>(bytes);
  return sum;
}

void* TakeScratch(size_t bytes) {
  if (bytes < kLeastScratchBytes) return nullptr;
  Pool& pool = ThePool();
  const std::lock_guard lock(pool.Mutex);
  if (!pool.bOpen) return nullptr;
  const int handle = OpenUnnamedFile(pool.szFolder);
  if (handle < 0) Fail(pool.szFolder, bytes, errno);
  // Room on the disk from the start: a page without any would end the process when it is written.
  const int refused = ::posix_fallocate(handle, 0, static_cast<off_t>(bytes));
  void* const array =
      refused == 0 ? ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, handle, 0) : MAP_FAILED;
  const int error = refused != 0 ? refused : errno;
  ::close(handle);
  if (array == MAP_FAILED) Fail(pool.szFolder, bytes, error);
  pool.Arrays.emplace(array, bytes);
  return array;
}

bool GiveScratchBack(void* memory, size_t bytes) noexcept {
  if (bytes < kLeastScratchBytes) return false;
  Pool& pool = ThePool();
  const std::lock_guard lock(pool.Mutex);
  const auto found = pool.Arrays.find(memory);
  if (found == pool.Arrays.end()) return false;
  ::munmap(memory, found->second);
  pool.Arrays.erase(found);
  return true;
}

}  // namespace orvo
