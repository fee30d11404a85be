// A binary file from begin to end, little-endian, with places that can be looked up.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/InputFile.h"
#include "block/OvtFile.h"

namespace orvo::exchange {

/// Throws ExchangeFault where the file can't be read or ends early.
class ByteReader {
 public:
  explicit ByteReader(const std::string& path);

  template <class T>
  T Get(const char* what) {
    return LoadLittleEndian<T>(Take(sizeof(T), what));
  }
  /// Up to a zero byte, which is passed over.
  std::string GetText(const char* what);
  void Skip(uint64_t count, uint64_t bytesEach, const char* what);
  int64_t Offset() const { return nStart + static_cast<int64_t>(nBegin); }
  void Seek(int64_t offset);
  int64_t Size() const { return File.Size(); }
  const std::string& Path() const { return File.Path(); }

  /// Bytes anywhere in the file; does not move the reader.
  void ReadAt(int64_t offset, void* data, int64_t bytes) const;
  /// Throws an ExchangeFault at `offset`.
  [[noreturn]] void Refuse(int64_t offset, std::string what, std::string remedy) const;

 private:
  const char* Take(size_t bytes, const char* what);
  void Fill(size_t bytes);
  [[noreturn]] void RefuseEnd(const char* what) const;

  InputFile File;
  std::vector<char> Buffer;
  size_t nBegin = 0, nEnd = 0;
  int64_t nStart = 0;  ///< in the file, of the buffer
};

}  // namespace orvo::exchange
