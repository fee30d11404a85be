// A checksum of bytes, to tell whether a file is still the one that it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace orvo {

/// CRC-32 by the polynomial of ISO-HDLC (reflected 0xedb88320), as zip and PNG have it, of bytes that come in
/// pieces.
class Crc32 {
 public:
  void Add(const void* data, size_t bytes);
  uint32_t Value() const { return ~nSum; }
  /// "crc32:" and eight hexadecimal digits.
  std::string Text() const;

 private:
  uint32_t nSum = ~0u;
};

}  // namespace orvo
