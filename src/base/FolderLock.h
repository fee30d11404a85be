// One run in a folder at a time.
#pragma once

#include <string>

namespace orvo {

/// Holds the lock file of a folder. The system frees the lock when the process ends, however it ends, so a
/// lock file that a dead run has left behind stops nobody. Where the file system knows no locks, the process
/// that the file names is looked for instead.
class FolderLock {
 public:
  enum class Result {
    Taken,
    Busy,   ///< another run has it: Holder() tells which
    Failed  ///< the file can't be made: errno tells why
  };

  FolderLock() = default;
  ~FolderLock() { Release(); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  Result Take(const std::string& folder);
  /// Removes the file and frees the lock; nothing where it is not held.
  void Release();
  bool IsHeld() const { return nHandle >= 0; }
  /// "run 1234 is writing there since 2026-03-01 12:00:00", of the run that has the lock.
  const std::string& Holder() const { return szHolder; }

 private:
  int nHandle = -1;
  std::string szPath, szHolder;
};

}  // namespace orvo
