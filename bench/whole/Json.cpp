#include "whole/Json.h"

#include <fmt/format.h>

#include <cmath>

namespace orvo::bench {

void JsonWriter::Separate() {
  if (bAfterKey) {
    bAfterKey = false;
    return;
  }
  if (!bFirst) szText += ',';
  if (!szOpen.empty()) szText += '\n' + std::string(szOpen.size() * 1, ' ');
  bFirst = false;
}

JsonWriter& JsonWriter::Raw(std::string_view text) {
  Separate();
  szText += text;
  return *this;
}

JsonWriter& JsonWriter::Begin(char bracket) {
  Raw(std::string_view(&bracket, 1));
  szOpen += bracket;
  bFirst = true;
  return *this;
}

JsonWriter& JsonWriter::End() {
  if (szOpen.empty()) return *this;
  const char bracket = szOpen.back() == '{' ? '}' : ']';
  szOpen.pop_back();
  if (!bFirst) szText += '\n' + std::string(szOpen.size(), ' ');
  szText += bracket;
  bFirst = false;
  if (szOpen.empty()) szText += '\n';
  return *this;
}

JsonWriter& JsonWriter::Key(std::string_view name) {
  Value(name);
  szText += ": ";
  bAfterKey = true;
  return *this;
}

JsonWriter& JsonWriter::Value(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      quoted += fmt::format("\\u{:04x}", static_cast<unsigned char>(c));
    } else {
      quoted += c;
    }
  }
  return Raw(quoted + "\"");
}

JsonWriter& JsonWriter::Value(double number) {
  return std::isfinite(number) ? Raw(fmt::format("{:.6g}", number)) : Null();
}

JsonWriter& JsonWriter::Value(int64_t number) { return Raw(fmt::format("{}", number)); }

JsonWriter& JsonWriter::Null() { return Raw("null"); }

}  // namespace orvo::bench
