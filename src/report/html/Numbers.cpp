#include "report/html/Numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "report/RunFigures.h"

namespace orvo::report {
namespace {

constexpr char kNone[] = "\xe2\x80\x93";
constexpr double kLongest = 1e9;  ///< from here on a number in full only hides its size

void Group(std::string& text) {
  const size_t first = text.starts_with('-') ? 1 : 0;
  const size_t point = std::min(text.find('.'), text.size());
  for (size_t at = point; at > first + 3; at -= 3) text.insert(at - 3, 1, ',');
}

}  // namespace

std::string Fixed(double value, int decimals) {
  if (!std::isfinite(value)) return kNone;
  if (std::fabs(value) >= kLongest) return fmt::format("{:.2e}", value);
  std::string text = fmt::format("{:.{}f}", value, decimals);
  if (text.starts_with('-') && text.find_first_not_of("-0.") == std::string::npos) text.erase(0, 1);
  return text;
}

std::string Signed(double value, int decimals) {
  std::string text = Fixed(value, decimals);
  const bool zero = text.find_first_not_of("0.") == std::string::npos;
  if (std::isfinite(value) && value > 0 && !zero) text.insert(0, 1, '+');
  return text;
}

std::string Thousands(int64_t value) {
  std::string text = fmt::format("{}", value);
  Group(text);
  return text;
}

std::string CountText(int64_t count) { return count == kUnknownCount ? kNone : Thousands(count); }

std::string Thousands(double value, int decimals) {
  std::string text = Fixed(value, decimals);
  if (std::isfinite(value)) Group(text);
  return text;
}

std::string Significant(double value, int digits) {
  if (!std::isfinite(value)) return kNone;
  const double size = std::fabs(value);
  if (size != 0 && (size < 1e-4 || size >= 1e7))
    return fmt::format("{:.{}e}", value, std::max(digits - 1, 0));
  return Fixed(value, DecimalsOf(value, digits));
}

std::string Short(double value, int digits) {
  std::string text = Significant(value, digits);
  if (text.find('.') == std::string::npos || text.find('e') != std::string::npos) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

int DecimalsOf(double value, int digits) {
  if (!std::isfinite(value) || value == 0) return std::max(digits - 1, 0);
  return std::clamp(digits - 1 - static_cast<int>(std::floor(std::log10(std::fabs(value)))), 0, 9);
}

std::string Share(int64_t part, int64_t whole, int decimals) {
  const double share = whole > 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0.0;
  return Fixed(share, decimals) + " %";
}

std::string Duration(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0 || seconds > 1e12) return kNone;
  if (seconds < 9.95)
    return fmt::format("{:.{}f} s", seconds, seconds < 0.0995 ? 3 : seconds < 0.995 ? 2 : 1);
  const auto whole = static_cast<int64_t>(std::llround(seconds));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min", whole / 3600, whole % 3600 / 60);
}

std::string Bytes(int64_t bytes) {
  if (bytes < 1000) return fmt::format("{} {}", bytes, bytes == 1 ? "byte" : "bytes");
  auto value = static_cast<double>(bytes);
  const char* unit = "";
  for (const char* larger : {"kB", "MB", "GB", "TB"}) {
    if (value < 999.5) break;
    value /= 1000;
    unit = larger;
  }
  return fmt::format("{:.{}f} {}", value, value < 99.95 ? 1 : 0, unit);
}

std::string Counted(int64_t count, const char* singular) {
  return fmt::format("{} {}{}", Thousands(count), singular, count == 1 ? "" : "s");
}

}  // namespace orvo::report
