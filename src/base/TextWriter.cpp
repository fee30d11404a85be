#include "base/TextWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace orvo {
namespace {
constexpr size_t kBufferBytes = size_t{1} << 18;
}

TextWriter::~TextWriter() { Close(); }

void TextWriter::Fail(const char* action, int error) {
  if (!First.Any()) First = {szShown, action, error};
}

bool TextWriter::Open(const std::string& path, const std::string& shown) {
  Close();
  First = {};
  nBuffered = 0;
  szPath = path;
  szShown = shown.empty() ? path : shown;
  do {
    nHandle = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  } while (nHandle < 0 && errno == EINTR);
  if (nHandle < 0) {
    Fail("create", errno);
    return false;
  }
  if (!pBuffer) pBuffer.reset(new char[kBufferBytes]);
  return true;
}

void TextWriter::WriteThrough(std::string_view text) {
  if (nHandle < 0) return Fail("write", EBADF);
  while (!text.empty()) {
    const ssize_t n = ::write(nHandle, text.data(), text.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return Fail("write", n < 0 ? errno : EIO);
    text.remove_prefix(static_cast<size_t>(n));
  }
}

void TextWriter::Flush() {
  if (nBuffered > 0) WriteThrough({pBuffer.get(), nBuffered});
  nBuffered = 0;
}

void TextWriter::Write(std::string_view text) {
  if (nHandle < 0) return Fail("write", EBADF);
  if (text.size() > kBufferBytes - nBuffered) Flush();
  if (text.size() >= kBufferBytes / 4) {
    Flush();
    WriteThrough(text);
    return;
  }
  if (!text.empty()) std::memcpy(pBuffer.get() + nBuffered, text.data(), text.size());
  nBuffered += text.size();
}

void TextWriter::Overwrite(int64_t offset, std::string_view bytes) {
  if (nHandle < 0) return Fail("write", EBADF);
  Flush();
  if (::lseek(nHandle, static_cast<off_t>(offset), SEEK_SET) < 0) return Fail("write", errno);
  WriteThrough(bytes);
  if (::lseek(nHandle, 0, SEEK_END) < 0) Fail("write", errno);
}

void TextWriter::Printf(const char* format, ...) {
  std::va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  char text[512];
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (length < 0) {
    Fail("write", EOVERFLOW);
  } else if (static_cast<size_t>(length) < sizeof text) {
    Write({text, static_cast<size_t>(length)});
  } else {
    std::string longer(static_cast<size_t>(length), '\0');
    std::vsnprintf(longer.data(), longer.size() + 1, format, again);
    Write(longer);
  }
  va_end(again);
}

bool TextWriter::Close() {
  if (nHandle >= 0) {
    Flush();
    // Interrupted or not, the handle is gone; repeating could close another thread's file.
    if (::close(nHandle) != 0 && errno != EINTR) Fail("write", errno);
    nHandle = -1;
  }
  if (First.Any()) errno = First.nError;
  return !First.Any();
}

}  // namespace orvo
