#include "run/TextWriter.h"

#include <sys/types.h>

#include <cstdarg>
#include <cstring>

namespace orvo {
namespace {
constexpr size_t kBufferBytes = size_t{1} << 18;
}

TextWriter::~TextWriter() { Close(); }

bool TextWriter::Open(const std::string& path) {
  Close();
  bFailed = false;
  nBuffered = 0;
  fFile = std::fopen(path.c_str(), "wb");
  if (fFile == nullptr) return false;
  std::setvbuf(fFile, nullptr, _IONBF, 0);
  if (!pBuffer) pBuffer.reset(new char[kBufferBytes]);
  return true;
}

void TextWriter::WriteThrough(std::string_view text) {
  if (fFile == nullptr || std::fwrite(text.data(), 1, text.size(), fFile) != text.size()) bFailed = true;
}

void TextWriter::Flush() {
  if (nBuffered > 0) WriteThrough({pBuffer.get(), nBuffered});
  nBuffered = 0;
}

void TextWriter::Write(std::string_view text) {
  if (fFile == nullptr) {
    bFailed = true;
    return;
  }
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
  if (fFile == nullptr) {
    bFailed = true;
    return;
  }
  Flush();
  if (::fseeko(fFile, static_cast<off_t>(offset), SEEK_SET) != 0) {
    bFailed = true;
    return;
  }
  WriteThrough(bytes);
  if (::fseeko(fFile, 0, SEEK_END) != 0) bFailed = true;
}

void TextWriter::Printf(const char* format, ...) {
  std::va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  char text[512];
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (length < 0) {
    bFailed = true;
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
  if (fFile != nullptr) {
    Flush();
    if (std::ferror(fFile) != 0) bFailed = true;
    if (std::fclose(fFile) != 0) bFailed = true;
    fFile = nullptr;
  }
  return !bFailed;
}

}  // namespace orvo
