// A file without a name: what has to be kept until it is known what comes before it.
#pragma once

#include <cstdio>
#include <string>

namespace orvo::exchange {

/// Gone with the object, or with the process. Throws ExchangeFault.
class ScratchFile {
 public:
  explicit ScratchFile(const std::string& folder);
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  void Write(const void* data, size_t bytes);
  /// From the first byte on; behind it nothing is written any more.
  void Rewind();
  void Read(void* data, size_t bytes);

 private:
  [[noreturn]] void Fail(const char* action) const;

  std::string szFolder;
  std::FILE* fFile = nullptr;
};

}  // namespace orvo::exchange
