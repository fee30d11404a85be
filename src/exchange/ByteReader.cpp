#include "exchange/ByteReader.h"

#include <algorithm>
#include <cstring>

#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

constexpr size_t kBufferBytes = size_t{1} << 18;

}  // namespace

ByteReader::ByteReader(const std::string& path) {
  if (!File.Open(path)) {
    const std::string reason = FindReadingObstacle(path, kReadAgain);
    exchange::Refuse(path, 0,
                     "the file can't be read: " + (reason.empty() ? "there is no such file" : reason),
                     "Check its path and permissions");
  }
  Buffer.resize(kBufferBytes);
}

void ByteReader::RefuseEnd(const char* what) const {
  Refuse(Size(), std::string("the file ends in ") + what, "Copy or write it again: it was cut off");
}

void ByteReader::ReadAt(int64_t offset, void* data, int64_t bytes) const {
  if (offset < 0 || offset > Size() - bytes) RefuseEnd("what another file names of it");
  if (File.ReadAt(offset, data, bytes) != bytes) {
    Refuse(offset, "the file can't be read on: " + File.Fault().szReason, "Check the disk");
  }
}

void ByteReader::Refuse(int64_t offset, std::string what, std::string remedy) const {
  RefuseAtByte(Path(), offset, std::move(what), std::move(remedy));
}

void ByteReader::Fill(size_t bytes) {
  if (nBegin > 0) std::memmove(Buffer.data(), Buffer.data() + nBegin, nEnd - nBegin);
  nStart += static_cast<int64_t>(nBegin);
  nEnd -= nBegin;
  nBegin = 0;
  if (Buffer.size() < bytes) Buffer.resize(bytes);
  const int64_t place = nStart + static_cast<int64_t>(nEnd);
  const int64_t piece = std::min(static_cast<int64_t>(Buffer.size() - nEnd), Size() - place);
  if (piece <= 0) return;
  ReadAt(place, Buffer.data() + nEnd, piece);
  nEnd += static_cast<size_t>(piece);
}

const char* ByteReader::Take(size_t bytes, const char* what) {
  if (nEnd - nBegin < bytes) Fill(bytes);
  if (nEnd - nBegin < bytes) RefuseEnd(what);
  const char* taken = Buffer.data() + nBegin;
  nBegin += bytes;
  return taken;
}

std::string ByteReader::GetText(const char* what) {
  std::string text;
  while (true) {
    const char letter = *Take(1, what);
    if (letter == '\0') return text;
    text += letter;
  }
}

void ByteReader::Skip(uint64_t count, uint64_t bytesEach, const char* what) {
  const auto left = static_cast<uint64_t>(Size() - Offset());
  if (count > left / bytesEach) RefuseEnd(what);
  Seek(Offset() + static_cast<int64_t>(count * bytesEach));
}

void ByteReader::Seek(int64_t offset) {
  if (offset >= nStart && offset <= nStart + static_cast<int64_t>(nEnd)) {
    nBegin = static_cast<size_t>(offset - nStart);
    return;
  }
  nStart = offset;
  nBegin = nEnd = 0;
}

}  // namespace orvo::exchange
