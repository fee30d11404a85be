#include "exchange/survey/ExifValues.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <span>
#include <string>

#include "check/StrictLines.h"
#include "exchange/survey/DelimitedTable.h"

namespace orvo::exchange {
namespace {

/// Takes the number at the head of the text, and what separates it from the next.
bool TakeNumber(std::string_view& text, double& value, bool commas) {
  const size_t end =
      std::min(text.find_first_not_of(commas ? "+-.,0123456789" : "+-.0123456789"), text.size());
  const auto number = NumberIn(text.substr(0, end), commas);
  if (!number) return false;
  value = *number;
  text = Trimmed(text.substr(end));
  return true;
}

bool TakeWord(std::string_view& text, std::string_view word) {
  if (!text.starts_with(word)) return false;
  text = Trimmed(text.substr(word.size()));
  return true;
}

constexpr std::string_view kDegreeMarks[] = {"deg", "\xC2\xB0", "\xC2\xBA"};
/// Primes and quotation marks as well.
constexpr std::string_view kMinuteMarks[] = {"'", "\xE2\x80\xB2", "\xE2\x80\x99"};
constexpr std::string_view kSecondMarks[] = {"\"", "''", "\xE2\x80\xB3", "\xE2\x80\x9D"};

bool TakeOneOf(std::string_view& text, std::span<const std::string_view> words) {
  return std::ranges::any_of(words, [&](std::string_view word) { return TakeWord(text, word); });
}

/// -1 for S and W, 1 for N and E, 0 for anything else.
int SignOfHemisphere(std::string_view text) {
  if (text == "S" || text == "South" || text == "W" || text == "West") return -1;
  if (text == "N" || text == "North" || text == "E" || text == "East") return 1;
  return 0;
}

bool IsBelow(std::string_view reference) {
  return reference == "1" || reference.starts_with("Below") || reference.starts_with("below");
}

/// Digits with the separators of a date or time between them: "2023:05:01" by any of ":-/".
bool TakeParts(std::string_view& text, std::string_view separators, std::array<double, 3>& parts) {
  for (size_t i = 0; i < 3; ++i) {
    const bool last = i == 2;
    const size_t end = std::min(text.find_first_not_of(last ? ".0123456789" : "0123456789"), text.size());
    const auto number = NumberIn(text.substr(0, end));
    if (!number) return false;
    parts[i] = *number;
    text.remove_prefix(end);
    if (last) return true;
    if (text.empty() || separators.find(text[0]) == std::string_view::npos) return false;
    text.remove_prefix(1);
  }
  return true;
}

/// Seconds to be taken off for "Z", "+02:00", "-0530", nothing.
std::optional<double> ZoneIn(std::string_view text) {
  text = Trimmed(text);
  if (text.empty() || text == "Z" || text == "UTC") return 0;
  if (text[0] != '+' && text[0] != '-') return std::nullopt;
  std::string digits;
  for (const char c : text.substr(1)) {
    if (c != ':') digits += c;
  }
  const auto number = NumberIn(digits);
  if (!number || digits.size() != 4 || digits.find('.') != std::string::npos) return std::nullopt;
  const double hours = std::floor(*number / 100), minutes = *number - 100 * hours;
  return (text[0] == '-' ? -1 : 1) * (3600 * hours + 60 * minutes);
}

}  // namespace

std::optional<double> DegreesIn(std::string_view text, std::string_view reference, bool commas) {
  text = Trimmed(text);
  double degrees = 0, minutes = 0, seconds = 0;
  const bool negative = text.starts_with('-');
  const bool hasSign = negative || text.starts_with('+');
  if (!TakeNumber(text, degrees, commas)) return std::nullopt;
  const auto atEnd = [&] { return text.empty() || SignOfHemisphere(text) != 0; };
  if (TakeOneOf(text, kDegreeMarks)) {
    if (!atEnd() && !(TakeNumber(text, minutes, commas) && TakeOneOf(text, kMinuteMarks)))
      return std::nullopt;
    if (!atEnd() && !(TakeNumber(text, seconds, commas) && TakeOneOf(text, kSecondMarks)))
      return std::nullopt;
  } else if (!atEnd()) {
    // Three numbers by blanks.
    if (!TakeNumber(text, minutes, commas) || !TakeNumber(text, seconds, commas)) return std::nullopt;
    if (degrees != std::floor(degrees) || minutes != std::floor(minutes)) return std::nullopt;
  }
  if (!(minutes >= 0 && minutes < 60 && seconds >= 0 && seconds <= 60)) return std::nullopt;
  const int own = SignOfHemisphere(text);
  if (!text.empty() && own == 0) return std::nullopt;
  const int of = own != 0 ? own : hasSign ? 0 : SignOfHemisphere(Trimmed(reference));
  const double magnitude = std::abs(degrees) + minutes / 60 + seconds / 3600;
  if (own != 0 && negative) return std::nullopt;
  return (of == -1 || negative) ? -magnitude : magnitude;
}

std::optional<double> MetresIn(std::string_view text, std::string_view reference, bool commas) {
  text = Trimmed(text);
  double value = 0;
  if (!TakeNumber(text, value, commas)) return std::nullopt;
  TakeWord(text, "m");
  const bool below = text == "Below Sea Level";
  if (!text.empty() && !below && text != "Above Sea Level") return std::nullopt;
  const bool negative = below || (text.empty() && value > 0 && IsBelow(Trimmed(reference)));
  return negative ? -std::abs(value) : value;
}

std::optional<double> SecondsIn(std::string_view text) {
  text = Trimmed(text);
  if (const auto number = NumberIn(text)) return number;
  std::array<double, 3> date{}, time{};
  if (!TakeParts(text, ":-/", date) || text.empty() || (text[0] != ' ' && text[0] != 'T'))
    return std::nullopt;
  text.remove_prefix(1);
  if (!TakeParts(text, ":", time)) return std::nullopt;
  const auto zone = ZoneIn(text);
  if (!zone || date[0] < 1 || date[0] > 9999 || date[1] < 1 || date[1] > 12 || date[2] < 1 || date[2] > 31 ||
      date[2] != std::floor(date[2])) {
    return std::nullopt;
  }
  if (time[0] > 24 || time[1] > 59 || time[2] >= 61) return std::nullopt;
  const std::chrono::year_month_day day(std::chrono::year(static_cast<int>(date[0])),
                                        std::chrono::month(static_cast<unsigned>(date[1])),
                                        std::chrono::day(static_cast<unsigned>(date[2])));
  if (!day.ok()) return std::nullopt;
  const auto days = static_cast<double>(std::chrono::sys_days(day).time_since_epoch().count());
  return 86400 * days + 3600 * time[0] + 60 * time[1] + time[2] - *zone;
}

}  // namespace orvo::exchange
