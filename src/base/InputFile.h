// A file that is read, with every call looked at.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "base/InputFiles.h"

namespace orvo {

/// How a file is going to be read.
struct InputUse {
  bool bOnce = false;  ///< from begin to end, one time: a pipe or a device will do, too
  int64_t nMaxBytes = std::numeric_limits<int64_t>::max();
};

inline constexpr InputUse kReadAgain{};
inline constexpr InputUse kReadOnce{true};
inline constexpr int64_t kMaxSettingsBytes = int64_t{64} << 20;
inline constexpr InputUse kReadAsSettings{true, kMaxSettingsBytes};

/// A file that any number of threads read from, each at places of its own choice. What fails is told to the
/// run's InputFiles; without a run the file keeps it for itself.
class InputFile {
 public:
  explicit InputFile(InputFiles* run = nullptr);
  ~InputFile() { Close(); }
  InputFile(InputFile&& other) noexcept;
  InputFile& operator=(InputFile&&) = delete;

  /// False when there is no such file, which is no fault unless the run expects it, and when it can't be
  /// opened or read in that way, which is one. A file that the run opened before and that has changed since
  /// is a fault, too.
  bool Open(const std::string& path, const InputUse& use = kReadAgain);
  /// A file that changed while it was open is a fault.
  void Close();
  bool IsOpen() const { return nHandle >= 0; }
  /// Bytes in the file when it was opened, 0 where it is no file on a disk.
  int64_t Size() const { return nSize; }
  const std::string& Path() const { return szPath; }
  /// Fills `data`; the number of bytes read, fewer only at the end of the file or after a fault. A file that
  /// ends before the size that it had is a fault. What is no file on a disk is read by one thread, each byte
  /// in its turn.
  int64_t ReadAt(int64_t offset, void* data, int64_t bytes) const;

  /// Something failed since the file was opened, or in opening it.
  bool Failed() const { return bFailed.load(std::memory_order_acquire); }
  /// Says that the file can't be used.
  void Fail(const char* action, const std::string& reason) const;
  /// The first fault of the run, or of this file where there is no run.
  FileFault Fault() const { return pRun->First(); }

 private:
  int OpenHandle() const;
  bool LookAt(const InputUse& use);
  int64_t ReadStream(int64_t offset, char* data, int64_t bytes) const;
  bool AwaitStream() const;

  std::unique_ptr<InputFiles> pOwn;
  InputFiles* pRun;
  std::string szPath;
  int nHandle = -1;
  int64_t nSize = 0, nMaxBytes = 0;
  bool bRegular = false;
  FileIdentity Identity;
  mutable int64_t nStreamPlace = 0;  ///< of the next byte that is no file on a disk
  mutable std::atomic<bool> bFailed = false;
};

/// Reads a whole file into `text`; false as by Open, or when reading fails.
bool ReadWholeFile(const std::string& path, const InputUse& use, InputFiles* run, std::string& text);

/// Why a file can't be read, empty when it can. Opens nothing but files on a disk.
std::string FindReadingObstacle(const std::string& path, const InputUse& use,
                                const FileCalls& calls = NativeFileCalls());
/// True when the path leads nowhere; false also where the system can't tell.
bool IsMissing(const std::string& path, const FileCalls& calls = NativeFileCalls());

}  // namespace orvo
