#include "block/TextReader.h"

#include <sys/types.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace orvo {
namespace {
constexpr size_t kBufferBytes = size_t{1} << 16;
}

bool TextReader::Open(const std::string& path) {
  Close();
  std::error_code failure;
  if (std::filesystem::is_directory(path, failure)) return false;
  fFile.reset(std::fopen(path.c_str(), "rb"));
  if (!fFile) return false;
  std::setvbuf(fFile.get(), nullptr, _IONBF, 0);
  if (!pBuffer) pBuffer.reset(new char[kBufferBytes]);
  const std::uintmax_t size = std::filesystem::file_size(path, failure);
  nSize = failure ? 0 : static_cast<int64_t>(size);
  szPath = path;
  return true;
}

void TextReader::Close() {
  fFile.reset();
  nBegin = nEnd = 0;
  nBufferOffset = 0;
  nSize = 0;
  bLineEnded = true;
  bEndOfFile = false;
}

void TextReader::Seek(int64_t offset) {
  if (!fFile) return;
  ::fseeko(fFile.get(), static_cast<off_t>(offset), SEEK_SET);
  std::clearerr(fFile.get());
  nBegin = nEnd = 0;
  nBufferOffset = offset;
  bLineEnded = true;
  bEndOfFile = false;
}

/// Moves what is left to the front of the buffer and reads on behind it; false when nothing came.
bool TextReader::Fill() {
  if (!fFile || bEndOfFile) return false;
  std::memmove(pBuffer.get(), pBuffer.get() + nBegin, nEnd - nBegin);
  nEnd -= nBegin;
  nBufferOffset += static_cast<int64_t>(nBegin);
  nBegin = 0;
  const size_t got = std::fread(pBuffer.get() + nEnd, 1, kBufferBytes - nEnd, fFile.get());
  nEnd += got;
  if (got == 0) bEndOfFile = true;
  return got != 0;
}

bool TextReader::Next(std::string_view& line) {
  line = {};
  // One character more than a piece, so that a CR LF that straddles the end of the piece is seen as one.
  while (nEnd - nBegin < kMaxLine + 1 && Fill()) {
  }
  if (nBegin == nEnd) return false;
  const char* begin = pBuffer.get() + nBegin;
  const size_t available = nEnd - nBegin;
  // A line end counts as one of the characters of a piece, CR LF too.
  size_t window = std::min(available, kMaxLine);
  if (available > kMaxLine && begin[kMaxLine] == '\n' && begin[kMaxLine - 1] == '\r') ++window;
  const void* found = std::memchr(begin, '\n', window);
  if (found == nullptr) {
    line = {begin, window};
    nBegin += window;
    bLineEnded = nBegin == nEnd && bEndOfFile;
    return true;
  }
  size_t length = static_cast<size_t>(static_cast<const char*>(found) - begin);
  nBegin += length + 1;
  if (length > 0 && begin[length - 1] == '\r') --length;
  line = {begin, length};
  bLineEnded = true;
  return true;
}

std::string_view TextReader::Next() {
  std::string_view line;
  Next(line);
  return line;
}

int64_t TextReader::Skip(int64_t lines) {
  std::string_view line;
  int64_t passed = 0;
  while (passed < lines && Next(line)) ++passed;
  return passed;
}

bool TextReader::AtEnd() {
  while (nBegin == nEnd && Fill()) {
  }
  return nBegin == nEnd;
}

}  // namespace orvo
