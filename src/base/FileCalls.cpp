#include "base/FileCalls.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace orvo {

FileCalls NativeFileCalls() {
  FileCalls calls;
  calls.Open = [](const char* path, int flags) { return ::open(path, flags); };
  calls.Status = [](int handle, struct stat& status) { return ::fstat(handle, &status); };
  calls.PathStatus = [](const char* path, struct stat& status) { return ::stat(path, &status); };
  calls.Read = [](int handle, void* data, size_t bytes) { return ::read(handle, data, bytes); };
  calls.ReadAt = [](int handle, void* data, size_t bytes, int64_t offset) {
    return ::pread(handle, data, bytes, static_cast<off_t>(offset));
  };
  calls.Wait = [](int handle, int milliseconds) {
    pollfd wanted{handle, POLLIN, 0};
    return ::poll(&wanted, 1, milliseconds);
  };
  calls.Close = [](int handle) { return ::close(handle); };
  return calls;
}

}  // namespace orvo
