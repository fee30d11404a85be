// Memory for arrays that are larger than the machine's: pages of files without a name, which the system keeps
// in memory as long as there is room and writes to the disk else.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

namespace orvo {

/// Arrays below this stay on the heap.
inline constexpr size_t kLeastScratchBytes = size_t{1} << 20;

/// The folder has no room for an array, or takes no files.
class ScratchFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// While it lives, a ScratchVector of kLeastScratchBytes and more is put into `folder`. What was put there
/// stays there until the vector itself goes. One at a time.
class ScratchMemory {
 public:
  /// Of all such arrays about `residentBytes` are the process's own at a time; the rest is the system's to
  /// keep or to write.
  ScratchMemory(std::string folder, int64_t residentBytes);
  ~ScratchMemory();
  ScratchMemory(const ScratchMemory&) = delete;
  ScratchMemory& operator=(const ScratchMemory&) = delete;

  /// In files at present, of all threads.
  static int64_t BytesInUse();

 private:
  void Watch(int64_t residentBytes);

  std::mutex Mutex;
  std::condition_variable Ended;
  bool bEnded = false;
  std::thread Watcher;
};

/// Zeros; null where no ScratchMemory lives, or for fewer than kLeastScratchBytes. Throws ScratchFault.
void* TakeScratch(size_t bytes);
/// False where it is not from TakeScratch.
bool GiveScratchBack(void* memory, size_t bytes) noexcept;

}  // namespace orvo
