#include "base/PrintableName.h"

namespace orvo {

std::string PrintableName(std::string_view name) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string printable;
  printable.reserve(name.size());
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7f) {
      printable += c;
      continue;
    }
    printable += "\\x";
    printable += kDigits[byte >> 4];
    printable += kDigits[byte & 15];
  }
  return printable;
}

}  // namespace orvo
