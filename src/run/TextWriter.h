// Buffered output of text and binary files.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace orvo {

/// Writes in large blocks: small pieces are gathered, large ones go straight from the caller's memory to the
/// system. A write that fails (a full disk) is remembered and told by Close; nothing throws.
class TextWriter {
 public:
  TextWriter() = default;
  ~TextWriter();
  TextWriter(const TextWriter&) = delete;
  TextWriter& operator=(const TextWriter&) = delete;

  /// False when the file can't be created.
  bool Open(const std::string& path);
  bool IsOpen() const { return fFile != nullptr; }
  void Write(std::string_view text);
  void Write(const void* data, size_t bytes) { Write({static_cast<const char*>(data), bytes}); }
  /// Puts other bytes in the place of some already written; writing goes on at the end.
  void Overwrite(int64_t offset, std::string_view bytes);
  void Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// True when everything was written.
  bool Close();

 private:
  void Flush();
  void WriteThrough(std::string_view text);

  std::FILE* fFile = nullptr;
  std::unique_ptr<char[]> pBuffer;
  size_t nBuffered = 0;
  bool bFailed = false;
};

}  // namespace orvo
