// The system's calls for reading files, of which one fails.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <memory>

#include "base/FileCalls.h"

namespace orvo::test {

enum class FileCall { Open, Status, ReadAt, Close };

/// How a call fails besides errno.
inline constexpr int kEndsEarly = 0;     ///< nothing read, as at the end of the file
inline constexpr int kReadsLittle = -1;  ///< no failure at all: a single byte, and the rest later

/// Lets the call number `failing` of one kind, counted from 0, fail; from none on where that is negative.
class FaultyFiles {
 public:
  explicit FaultyFiles(FileCall which = FileCall::Open, int64_t failing = -1, int error = EIO)
      : pState(std::make_shared<State>()) {
    pState->eWhich = which;
    pState->nFailing = failing;
    pState->nError = error;
  }

  FileCalls Calls() const {
    const FileCalls native = NativeFileCalls();
    const std::shared_ptr<State> state = pState;
    FileCalls calls = native;
    calls.Open = [native, state](const char* path, int flags) {
      return state->Fails(FileCall::Open) ? state->Error() : native.Open(path, flags);
    };
    calls.Status = [native, state](int handle, struct stat& status) {
      return state->Fails(FileCall::Status) ? state->Error() : native.Status(handle, status);
    };
    calls.ReadAt = [native, state](int handle, void* data, size_t bytes, int64_t offset) {
      if (!state->Fails(FileCall::ReadAt)) return native.ReadAt(handle, data, bytes, offset);
      if (state->nError == kEndsEarly) return ssize_t{0};
      if (state->nError == kReadsLittle) return native.ReadAt(handle, data, 1, offset);
      return static_cast<ssize_t>(state->Error());
    };
    calls.Close = [native, state](int handle) {
      const int result = native.Close(handle);
      return state->Fails(FileCall::Close) ? state->Error() : result;
    };
    return calls;
  }

  int64_t Count(FileCall which) const { return pState->nCount[static_cast<size_t>(which)]; }
  /// The failing call was made.
  bool Fired() const { return pState->bFired; }

 private:
  struct State {
    FileCall eWhich = FileCall::Open;
    int64_t nFailing = -1;
    int nError = EIO;
    std::atomic<int64_t> nCount[4]{};
    std::atomic<bool> bFired = false;

    bool Fails(FileCall which) {
      const bool fails = nCount[static_cast<size_t>(which)]++ == nFailing && which == eWhich;
      if (fails) bFired = true;
      return fails;
    }
    int Error() const {
      errno = nError;
      return -1;
    }
  };
  std::shared_ptr<State> pState;
};

}  // namespace orvo::test
