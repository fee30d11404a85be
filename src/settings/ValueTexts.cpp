#include "settings/ValueTexts.h"

#include <cmath>

#include "base/Scan.h"

namespace orvo {
namespace {

template <typename Value, typename Read>
std::optional<Value> NumberOf(std::string_view text, const Read& read) {
  FieldScanner fields(text);
  std::string_view more;
  Value value = 0;
  if (text.empty() || !read(fields, value) || !fields.NumbersAreWhole() || fields.Word(more))
    return std::nullopt;
  return value;
}

/// Decimal figures alone: no hexadecimal form, no "infinity".
bool IsDecimal(std::string_view text) {
  return text.find_first_not_of("0123456789+-.eE") == std::string_view::npos;
}

/// Whether a number that reads as 0 is written as something else, too small to be told from it.
bool IsLost(std::string_view text) {
  return text.substr(0, text.find_first_of("eE")).find_first_of("123456789") != std::string_view::npos;
}

}  // namespace

std::optional<bool> SwitchIn(std::string_view text) {
  for (const char* on : {"true", "on", "1"}) {
    if (text == on) return true;
  }
  for (const char* off : {"false", "off", "0"}) {
    if (text == off) return false;
  }
  return std::nullopt;
}

std::string ReadDecimal(std::string_view text, double& value) {
  const auto read =
      NumberOf<double>(text, [](FieldScanner& fields, double& one) { return fields.Real(one); });
  if (!read || !std::isfinite(*read) || !IsDecimal(text)) return "no number";
  if (*read == 0 && IsLost(text)) return "too small to be told from 0";
  value = *read;
  return {};
}

std::string ReadWholeNumber(std::string_view text, int32_t& value) {
  const auto read =
      NumberOf<int32_t>(text, [](FieldScanner& fields, int32_t& one) { return fields.Int(one); });
  if (!read || !IsDecimal(text)) return "no whole number";
  value = *read;
  return {};
}

}  // namespace orvo
