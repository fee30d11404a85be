// A JSON file for a parser that takes its bytes one after another.
#pragma once

#include <cstdint>
#include <string>

#include "base/FileBytes.h"
#include "base/InputFile.h"

namespace orvo::exchange {

class JsonBytes {
 public:
  /// Throws ExchangeFault where the file can't be opened.
  explicit JsonBytes(const std::string& path);

  FileBytes::Iterator begin() { return Bytes.begin(); }
  static FileBytes::Iterator end() { return FileBytes::end(); }

  const std::string& Path() const { return File.Path(); }
  int64_t Size() const { return File.Size(); }
  /// From 1.
  int64_t Line() const { return Bytes.Line(); }
  /// Throws ExchangeFault where the end was no end but a fault of reading.
  void CheckRead() const;

 private:
  InputFile File;
  FileBytes Bytes;
};

}  // namespace orvo::exchange
