// The system's calls behind the reading of files.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace orvo {

/// One function per call, so that tests can let any of them fail. Results and errno are those of the system.
struct FileCalls {
  std::function<int(const char* path, int flags)> Open;
  std::function<int(int handle, struct stat& status)> Status;
  std::function<int(const char* path, struct stat& status)> PathStatus;
  std::function<ssize_t(int handle, void* data, size_t bytes)> Read;
  std::function<ssize_t(int handle, void* data, size_t bytes, int64_t offset)> ReadAt;
  /// Until there is something to read; 0 when nothing came in that time.
  std::function<int(int handle, int milliseconds)> Wait;
  std::function<int(int handle)> Close;
};

FileCalls NativeFileCalls();

}  // namespace orvo
