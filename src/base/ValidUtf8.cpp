#include "base/ValidUtf8.h"

namespace orvo {
namespace {

struct Range {
  unsigned char nFirst, nLast;
  size_t nBytes;
  unsigned char nLeast,
      nMost;  ///< of the second byte: neither longer than need be, nor half a pair, nor too high
};

constexpr Range kLeads[] = {
    {0x00, 0x7f, 1, 0, 0},       {0xc2, 0xdf, 2, 0x80, 0xbf}, {0xe0, 0xe0, 3, 0xa0, 0xbf},
    {0xe1, 0xec, 3, 0x80, 0xbf}, {0xed, 0xed, 3, 0x80, 0x9f}, {0xee, 0xef, 3, 0x80, 0xbf},
    {0xf0, 0xf0, 4, 0x90, 0xbf}, {0xf1, 0xf3, 4, 0x80, 0xbf}, {0xf4, 0xf4, 4, 0x80, 0x8f}};

/// Bytes of the character that the text begins with; 0 where it begins with none.
size_t LengthOfFirst(std::string_view text) {
  const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  for (const Range& range : kLeads) {
    if (byte(0) < range.nFirst || byte(0) > range.nLast) continue;
    if (text.size() < range.nBytes) return 0;
    if (range.nBytes > 1 && (byte(1) < range.nLeast || byte(1) > range.nMost)) return 0;
    for (size_t k = 2; k < range.nBytes; ++k) {
      if (byte(k) < 0x80 || byte(k) > 0xbf) return 0;
    }
    return range.nBytes;
  }
  return 0;
}

}  // namespace

std::string ValidUtf8(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    const size_t length = LengthOfFirst(text);
    if (length > 0) {
      valid.append(text.substr(0, length));
    } else {
      const auto byte = static_cast<unsigned char>(text[0]);
      valid += "\\x";
      valid += kDigits[byte >> 4];
      valid += kDigits[byte & 15];
    }
    text.remove_prefix(length > 0 ? length : 1);
  }
  return valid;
}

}  // namespace orvo
