#include "report/tables/CsvName.h"

#include <algorithm>

#include "base/PrintableName.h"
#include "base/ValidUtf8.h"

namespace orvo::report {
namespace {

bool IsWordByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.';
}

/// Nothing of it needs a look; most names are such.
bool IsWord(std::string_view name) {
  return std::ranges::all_of(name, [](char c) { return IsWordByte(c) || c == '-' || c == '^'; }) &&
         (name.empty() || IsWordByte(name.front()));
}

}  // namespace

void AppendCsvName(std::string& out, std::string_view name) {
  if (IsWord(name)) {
    out += name;
    return;
  }
  std::string shown = ValidUtf8(PrintableName(name));
  constexpr std::string_view kFormula = "=+-@";
  if (!shown.empty() && kFormula.find(shown.front()) != std::string_view::npos) shown.insert(0, 1, '\'');
  // Some spreadsheets divide at semicolons, and some take blanks off the ends.
  const bool plain = shown.find_first_of(",;\"") == std::string::npos &&
                     (shown.empty() || (shown.front() != ' ' && shown.back() != ' '));
  if (plain) {
    out += shown;
    return;
  }
  out += '"';
  for (const char c : shown) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
}

}  // namespace orvo::report
