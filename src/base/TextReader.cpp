#include "base/TextReader.h"

#include <algorithm>
#include <cstring>

namespace orvo {
namespace {
constexpr size_t kBufferBytes = size_t{1} << 16;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
}  // namespace

bool TextReader::Open(const std::string& path, const InputUse& use) {
  Close();
  if (!File.Open(path, use)) return false;
  if (!pBuffer) pBuffer.reset(new char[kBufferBytes]);
  return true;
}

void TextReader::Close() {
  File.Close();
  Seek(0);
}

void TextReader::Seek(int64_t offset) {
  nBegin = nEnd = 0;
  nBufferOffset = offset;
  nLineBytes = 0;
  bLineEnded = true;
  bEndOfFile = false;
}

/// Moves what is left to the front of the buffer and reads on behind it; false when nothing came.
bool TextReader::Fill() {
  if (!File.IsOpen() || bEndOfFile) return false;
  std::memmove(pBuffer.get(), pBuffer.get() + nBegin, nEnd - nBegin);
  nEnd -= nBegin;
  nBufferOffset += static_cast<int64_t>(nBegin);
  nBegin = 0;
  const bool atStart = nBufferOffset == 0 && nEnd == 0;
  const auto wanted = static_cast<int64_t>(kBufferBytes - nEnd);
  const int64_t got = File.ReadAt(nBufferOffset + static_cast<int64_t>(nEnd), pBuffer.get() + nEnd, wanted);
  nEnd += static_cast<size_t>(got);
  bEndOfFile = got < wanted;
  if (atStart) SkipByteOrderMark();
  return got != 0;
}

void TextReader::SkipByteOrderMark() {
  if (std::string_view(pBuffer.get(), nEnd).starts_with(kByteOrderMark)) nBegin = kByteOrderMark.size();
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
    if (EndsAtLongLine(window)) return false;
    line = {begin, window};
    nBegin += window;
    bLineEnded = nBegin == nEnd && bEndOfFile;
    return true;
  }
  size_t length = static_cast<size_t>(static_cast<const char*>(found) - begin);
  if (nLineBytes > 0 && EndsAtLongLine(length)) return false;
  nBegin += length + 1;
  nLineBytes = 0;
  if (length > 0 && begin[length - 1] == '\r') --length;
  line = {begin, length};
  bLineEnded = true;
  return true;
}

/// Counts a piece to its line; true where that ends the text.
bool TextReader::EndsAtLongLine(size_t pieceBytes) {
  nLineBytes += static_cast<int64_t>(pieceBytes);
  if (nLineBytes <= kMaxLineBytes) return false;
  const int64_t start = Tell() + static_cast<int64_t>(pieceBytes) - nLineBytes;
  Refuse("a line of more than 16 MB begins at byte " + std::to_string(start));
  return true;
}

void TextReader::Refuse(const std::string& reason) {
  File.Fail("read", reason);
  nBegin = nEnd;
  bEndOfFile = true;
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
