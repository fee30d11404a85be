// Calls on file descriptors that fail.
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>

#include "faults/preload/Plan.h"

using namespace orvo::faults;

namespace {

Kind OpeningKind(int flags) {
  return (flags & O_ACCMODE) == O_RDONLY && (flags & O_CREAT) == 0 ? Kind::OpenRead : Kind::OpenWrite;
}

int OpenAt(int folder, const char* path, int flags, mode_t mode) {
  ORVO_NEXT(openat);
  const bool watched = IsBelowRoot(folder, path);
  if (watched && Strikes(OpeningKind(flags))) return -1;
  const int file = next(folder, path, flags, mode);
  if (watched) Watch(file);
  return file;
}

mode_t ModeOf(int flags, va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

/// The length to go on with, or -1 for failure.
ssize_t Allowed(Kind kind, int file, size_t size) {
  const auto length = static_cast<ssize_t>(size);
  if (!IsWatched(file) || !Strikes(kind)) return length;
  return HowToFail() == Manner::Short ? (length + 1) / 2 : -1;
}

}  // namespace

#define ORVO_OPEN(name, folder, ...)            \
  va_list arguments;                            \
  va_start(arguments, flags);                   \
  const mode_t mode = ModeOf(flags, arguments); \
  va_end(arguments);                            \
  return OpenAt(folder, path, flags, mode)

extern "C" {

int open(const char* path, int flags, ...) { ORVO_OPEN(open, AT_FDCWD); }
int open64(const char* path, int flags, ...) { ORVO_OPEN(open64, AT_FDCWD); }
int openat(int folder, const char* path, int flags, ...) { ORVO_OPEN(openat, folder); }
int openat64(int folder, const char* path, int flags, ...) { ORVO_OPEN(openat64, folder); }
int creat(const char* path, mode_t mode) {
  return OpenAt(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

ssize_t read(int file, void* data, size_t size) {
  ORVO_NEXT(read);
  const ssize_t allowed = Allowed(Kind::Read, file, size);
  return allowed < 0 ? -1 : next(file, data, static_cast<size_t>(allowed));
}

ssize_t pread(int file, void* data, size_t size, off_t offset) {
  ORVO_NEXT(pread);
  const ssize_t allowed = Allowed(Kind::Read, file, size);
  return allowed < 0 ? -1 : next(file, data, static_cast<size_t>(allowed), offset);
}

ssize_t pread64(int file, void* data, size_t size, off64_t offset) { return pread(file, data, size, offset); }

ssize_t write(int file, const void* data, size_t size) {
  ORVO_NEXT(write);
  const ssize_t allowed = Allowed(Kind::Write, file, size);
  return allowed < 0 ? -1 : next(file, data, static_cast<size_t>(allowed));
}

ssize_t pwrite(int file, const void* data, size_t size, off_t offset) {
  ORVO_NEXT(pwrite);
  const ssize_t allowed = Allowed(Kind::Write, file, size);
  return allowed < 0 ? -1 : next(file, data, static_cast<size_t>(allowed), offset);
}

ssize_t pwrite64(int file, const void* data, size_t size, off64_t offset) {
  return pwrite(file, data, size, offset);
}

ssize_t writev(int file, const iovec* parts, int count) {
  ORVO_NEXT(writev);
  if (!IsWatched(file) || !Strikes(Kind::Write)) return next(file, parts, count);
  return HowToFail() == Manner::Short && count > 1 ? next(file, parts, count / 2) : -1;
}

off_t lseek(int file, off_t offset, int whence) noexcept {
  ORVO_NEXT(lseek);
  return IsWatched(file) && Strikes(Kind::Seek) ? -1 : next(file, offset, whence);
}

off64_t lseek64(int file, off64_t offset, int whence) noexcept { return lseek(file, offset, whence); }

int fsync(int file) {
  ORVO_NEXT(fsync);
  return IsWatched(file) && Strikes(Kind::Sync) ? -1 : next(file);
}

int fdatasync(int file) {
  ORVO_NEXT(fdatasync);
  return IsWatched(file) && Strikes(Kind::Sync) ? -1 : next(file);
}

// A close that fails has closed all the same.
int close(int file) {
  ORVO_NEXT(close);
  const bool watched = IsWatched(file);
  Forget(file);
  const int done = next(file);
  return watched && Strikes(Kind::Close) ? -1 : done;
}
}
