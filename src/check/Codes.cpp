#include "check/Codes.h"

#include <algorithm>

namespace orvo {
namespace {

bool Matches(std::string_view code, std::string_view typed) {
  return std::ranges::equal(code, typed, [](char a, char b) {
    return a == (b >= 'a' && b <= 'z' ? static_cast<char>(b - 'a' + 'A') : b);
  });
}

}  // namespace

const CodeEntry* FindCode(std::string_view code) {
  for (const auto table : {FileCodes(), BlockCodes()}) {
    for (const CodeEntry& entry : table) {
      if (Matches(entry.szCode, code)) return &entry;
    }
  }
  return nullptr;
}

std::string MarkdownRowOf(const CodeEntry& entry) {
  return std::string("| ") + entry.szCode + " | " + NameOf(entry.Weight) + " | " + entry.szTitle + " | " +
         entry.szCause + " | " + entry.szRemedy + " |";
}

}  // namespace orvo
