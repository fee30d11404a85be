#include "report/html/HtmlText.h"

#include <cstddef>
#include <cstdint>

#include "base/PrintableName.h"

namespace orvo::report {
namespace {

struct CodePoint {
  uint32_t nValue = 0;
  size_t nBytes = 0;  ///< 0: no UTF-8
};

/// The one at the beginning of `text`, which is not empty. Overlong forms and surrogates are none.
CodePoint FirstOf(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(text[i])); };
  const uint32_t first = byte(0);
  if (first < 0x80) return {first, 1};
  const size_t bytes = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc2 || first > 0xf4 || text.size() < bytes) return {};
  uint32_t value = first & (0x7fu >> bytes);
  for (size_t i = 1; i < bytes; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {};
    value = value << 6 | (byte(i) & 0x3f);
  }
  const bool overlong = (bytes == 3 && value < 0x800) || (bytes == 4 && value < 0x10000);
  if (overlong || value > 0x10ffff || (value >= 0xd800 && value < 0xe000)) return {};
  return {value, bytes};
}

/// What a page must not hold, and what would turn the direction of the text around it.
bool IsShown(uint32_t value) {
  if (value < 0x20 || (value >= 0x7f && value < 0xa0)) return false;
  if ((value >= 0x202a && value <= 0x202e) || (value >= 0x2066 && value <= 0x2069)) return false;
  if (value == 0x2028 || value == 0x2029 || (value >= 0xfdd0 && value <= 0xfdef)) return false;
  return (value & 0xfffe) != 0xfffe;
}

void AppendBytes(std::string& out, std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += "\\x";
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
}

void AppendEscaped(std::string& out, char c) {
  switch (c) {
    case '&':
      out += "&amp;";
      break;
    case '<':
      out += "&lt;";
      break;
    case '>':
      out += "&gt;";
      break;
    case '"':
      out += "&quot;";
      break;
    case '\'':
      out += "&#39;";
      break;
    default:
      out += c;
  }
}

}  // namespace

std::string HtmlText(std::string_view text) {
  const std::string printable = PrintableName(text);
  std::string out;
  out.reserve(printable.size());
  for (std::string_view rest = printable; !rest.empty();) {
    const CodePoint point = FirstOf(rest);
    const std::string_view bytes = rest.substr(0, point.nBytes == 0 ? 1 : point.nBytes);
    if (point.nBytes == 1) {
      AppendEscaped(out, bytes[0]);
    } else if (point.nBytes == 0 || !IsShown(point.nValue)) {
      AppendBytes(out, bytes);
    } else {
      out += bytes;
    }
    rest.remove_prefix(bytes.size());
  }
  return out;
}

}  // namespace orvo::report
