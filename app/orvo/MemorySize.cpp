#include "orvo/MemorySize.h"

#include <cctype>
#include <charconv>

namespace orvo {

std::optional<int64_t> ParseMemorySize(std::string_view text) {
  // The conversion would take a sign and "inf" too.
  if (text.empty() || !std::isdigit(static_cast<unsigned char>(text.front()))) return std::nullopt;
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
  if (error != std::errc()) return std::nullopt;
  if (rest != end) {
    constexpr std::string_view kUnits = "KMGT";
    const size_t unit = kUnits.find(static_cast<char>(std::toupper(static_cast<unsigned char>(*rest))));
    if (unit == std::string_view::npos || rest + 1 != end) return std::nullopt;
    for (size_t i = 0; i <= unit; ++i) value *= 1024;
  }
  if (!(value >= 1 && value <= 0x1p60)) return std::nullopt;
  return static_cast<int64_t>(value);
}

}  // namespace orvo
