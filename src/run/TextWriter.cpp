#include "run/TextWriter.h"

#include <sys/types.h>

#include <cstdarg>

namespace orvo {
namespace {
constexpr size_t kBufferBytes = size_t{1} << 20;
}

TextWriter::~TextWriter() { Close(); }

bool TextWriter::Open(const std::string& path) {
  Close();
  bFailed = false;
  fFile = std::fopen(path.c_str(), "wb");
  if (fFile != nullptr) std::setvbuf(fFile, nullptr, _IOFBF, kBufferBytes);
  return fFile != nullptr;
}

void TextWriter::Write(std::string_view text) {
  if (fFile == nullptr || std::fwrite(text.data(), 1, text.size(), fFile) != text.size()) bFailed = true;
}

void TextWriter::Overwrite(int64_t offset, std::string_view bytes) {
  if (fFile == nullptr || ::fseeko(fFile, static_cast<off_t>(offset), SEEK_SET) != 0) {
    bFailed = true;
    return;
  }
  Write(bytes);
  if (::fseeko(fFile, 0, SEEK_END) != 0) bFailed = true;
}

void TextWriter::Printf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  if (fFile == nullptr || std::vfprintf(fFile, format, arguments) < 0) bFailed = true;
  va_end(arguments);
}

bool TextWriter::Close() {
  if (fFile != nullptr) {
    if (std::ferror(fFile) != 0) bFailed = true;
    if (std::fclose(fFile) != 0) bFailed = true;
    fFile = nullptr;
  }
  return !bFailed;
}

}  // namespace orvo
