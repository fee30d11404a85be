// Buffered output of text and binary files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/OutputFault.h"

namespace orvo {

/// Writes in large blocks: small pieces are gathered, large ones go straight from the caller's memory to the
/// system. The first failure (a full disk) is remembered and told by Close, Fault and errno; nothing throws.
class TextWriter {
 public:
  TextWriter() = default;
  ~TextWriter();
  TextWriter(const TextWriter&) = delete;
  TextWriter& operator=(const TextWriter&) = delete;

  /// False when the file can't be created. `shown`: what Fault calls the file, where that is not `path`.
  bool Open(const std::string& path, const std::string& shown = {});
  bool IsOpen() const { return nHandle >= 0; }
  const std::string& Path() const { return szPath; }
  const std::string& Shown() const { return szShown; }
  void Write(std::string_view text);
  void Write(const void* data, size_t bytes) { Write({static_cast<const char*>(data), bytes}); }
  /// Puts other bytes in the place of some already written; writing goes on at the end.
  void Overwrite(int64_t offset, std::string_view bytes);
  void Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// True when everything was written.
  bool Close();
  /// The first failure since Open.
  const OutputFault& Fault() const { return First; }

 private:
  void Flush();
  void WriteThrough(std::string_view text);
  void Fail(const char* action, int error);

  int nHandle = -1;
  std::string szPath, szShown;
  std::unique_ptr<char[]> pBuffer;
  size_t nBuffered = 0;
  OutputFault First;
};

}  // namespace orvo
