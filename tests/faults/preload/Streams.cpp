// Calls on streams that fail. What the C library does beneath them can't be reached from outside.
#include <sys/types.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "faults/preload/Plan.h"

using namespace orvo::faults;

namespace {

Kind OpeningKind(const char* mode) {
  return mode[0] == 'r' && std::strchr(mode, '+') == nullptr ? Kind::OpenRead : Kind::OpenWrite;
}

/// The C library's mark of a stream in error.
void SetError(std::FILE* stream) {
  constexpr int kErrorSeen = 0x20;
  stream->_flags |= kErrorSeen;
}

bool StreamStrikes(Kind kind, std::FILE* stream) {
  if (!IsWatched(stream) || !Strikes(kind)) return false;
  SetError(stream);
  return true;
}

}  // namespace

extern "C" {

std::FILE* fopen(const char* path, const char* mode) {
  ORVO_NEXT(fopen);
  const bool watched = IsBelowRoot(path);
  if (watched && Strikes(OpeningKind(mode))) return nullptr;
  std::FILE* const stream = next(path, mode);
  if (watched && stream != nullptr) Watch(::fileno(stream));
  return stream;
}

std::FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

size_t fread(void* data, size_t size, size_t count, std::FILE* stream) {
  ORVO_NEXT(fread);
  if (!StreamStrikes(Kind::Read, stream)) return next(data, size, count, stream);
  const size_t got = HowToFail() == Manner::Short ? next(data, 1, size * count / 2, stream) : 0;
  SetError(stream);
  return got / (size == 0 ? 1 : size);
}

char* fgets(char* text, int size, std::FILE* stream) {
  ORVO_NEXT(fgets);
  return StreamStrikes(Kind::Read, stream) ? nullptr : next(text, size, stream);
}

int fgetc(std::FILE* stream) {
  ORVO_NEXT(fgetc);
  return StreamStrikes(Kind::Read, stream) ? EOF : next(stream);
}

int getc(std::FILE* stream) { return fgetc(stream); }

ssize_t getline(char** line, size_t* size, std::FILE* stream) {
  ORVO_NEXT(getline);
  return StreamStrikes(Kind::Read, stream) ? -1 : next(line, size, stream);
}

size_t fwrite(const void* data, size_t size, size_t count, std::FILE* stream) {
  ORVO_NEXT(fwrite);
  if (!StreamStrikes(Kind::Write, stream)) return next(data, size, count, stream);
  const size_t done = HowToFail() == Manner::Short ? next(data, 1, size * count / 2, stream) : 0;
  return done / (size == 0 ? 1 : size);
}

int fputs(const char* text, std::FILE* stream) {
  ORVO_NEXT(fputs);
  return StreamStrikes(Kind::Write, stream) ? EOF : next(text, stream);
}

int fputc(int character, std::FILE* stream) {
  ORVO_NEXT(fputc);
  return StreamStrikes(Kind::Write, stream) ? EOF : next(character, stream);
}

int vfprintf(std::FILE* stream, const char* format, va_list arguments) {
  ORVO_NEXT(vfprintf);
  return StreamStrikes(Kind::Write, stream) ? -1 : next(stream, format, arguments);
}

int fprintf(std::FILE* stream, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int done = vfprintf(stream, format, arguments);
  va_end(arguments);
  return done;
}

int __fprintf_chk(std::FILE* stream, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int done = vfprintf(stream, format, arguments);
  va_end(arguments);
  return done;
}

int fseeko(std::FILE* stream, off_t offset, int whence) {
  ORVO_NEXT(fseeko);
  return IsWatched(stream) && Strikes(Kind::Seek) ? -1 : next(stream, offset, whence);
}

int fseeko64(std::FILE* stream, off64_t offset, int whence) { return fseeko(stream, offset, whence); }
int fseek(std::FILE* stream, long offset, int whence) { return fseeko(stream, offset, whence); }

off_t ftello(std::FILE* stream) {
  ORVO_NEXT(ftello);
  return IsWatched(stream) && Strikes(Kind::Seek) ? -1 : next(stream);
}

off64_t ftello64(std::FILE* stream) { return ftello(stream); }
long ftell(std::FILE* stream) { return ftello(stream); }

int fflush(std::FILE* stream) {
  ORVO_NEXT(fflush);
  return StreamStrikes(Kind::Flush, stream) ? EOF : next(stream);
}

// What a stream still holds is lost when its close fails.
int fclose(std::FILE* stream) {
  ORVO_NEXT(fclose);
  const bool watched = IsWatched(stream);
  const bool fails = watched && Strikes(Kind::Close);
  const int error = errno;
  if (watched) Forget(::fileno(stream));
  const int done = next(stream);
  if (!fails) return done;
  errno = error;
  return EOF;
}
}
