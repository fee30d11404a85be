// What a run knows of the files that it reads: what they were when it first opened them, and what failed.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "base/FileCalls.h"

namespace orvo {

/// One operation on a file that failed.
struct FileFault {
  std::string szPath;
  std::string szAction;  ///< "open", "read", "look at" or "close"
  std::string szReason;  ///< the system's, or what was found wrong
};

/// In one sentence, without its end mark; the path is printable.
std::string FaultText(const FileFault& fault);

/// What tells a file from another, and from itself after a change.
struct FileIdentity {
  uint64_t nDevice = 0, nInode = 0;
  int64_t nBytes = 0;
  int64_t nSeconds = 0, nNanoseconds = 0;  ///< of its last change

  bool operator==(const FileIdentity&) const = default;
};

FileIdentity IdentityOf(const struct stat& status);

/// The files of one run. Any thread may use it at any time.
class InputFiles {
 public:
  explicit InputFiles(FileCalls calls = NativeFileCalls()) : Calls(std::move(calls)) {}
  InputFiles(const InputFiles&) = delete;
  InputFiles& operator=(const InputFiles&) = delete;

  const FileCalls& System() const { return Calls; }

  /// The first fault is kept, the ones behind it mostly follow from it.
  void Report(FileFault fault);
  bool Any() const { return bAny.load(std::memory_order_acquire); }
  /// Empty without a fault.
  FileFault First() const;

  /// True once for each fault: somebody has to be told.
  bool TakeUntold();

  /// From now on it is a fault when the file does not exist.
  void Expect(const std::string& path);
  bool IsExpected(const std::string& path) const;
  /// Remembers the file at its first opening, from which on it is expected; later, false when it has become
  /// another one.
  bool IsAsBefore(const std::string& path, const FileIdentity& identity);
  /// As before the first file: another run begins.
  void Forget();

 private:
  const FileCalls Calls;
  mutable std::mutex Lock;
  std::atomic<bool> bAny = false;
  bool bUntold = false;
  FileFault Fault;
  std::map<std::string, FileIdentity> Known;
  std::set<std::string> Expected;
};

}  // namespace orvo
