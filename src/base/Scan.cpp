#include "base/Scan.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace orvo {
namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool EndsAField(std::string_view rest) { return rest.empty() || IsSpace(rest[0]); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view TrimLeft(std::string_view text) {
  size_t begin = 0;
  while (begin < text.size() && IsSpace(text[begin])) ++begin;
  return text.substr(begin);
}

/// Parses at the head of `text` and cuts what was used off it.
template <typename T>
bool TakeInteger(std::string_view& text, T& value) {
  std::string_view rest = TrimLeft(text);
  // from_chars knows no plus sign, and "+-1" is no number.
  if (rest.size() > 1 && rest[0] == '+' && rest[1] != '-') rest.remove_prefix(1);
  T parsed{};
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), parsed);
  if (error == std::errc::invalid_argument) return false;
  if (error == std::errc::result_out_of_range) {
    parsed = rest[0] == '-' ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
  }
  value = parsed;
  text = rest.substr(static_cast<size_t>(end - rest.data()));
  return true;
}

/// What a decimal number stands for that is too large or too small for a double: the sign of its magnitude,
/// the power of ten of its first digit other than 0, decides.
double RealOutOfRange(std::string_view number) {
  const bool negative = number[0] == '-';
  if (negative) number.remove_prefix(1);
  const size_t mark = number.find_first_of("eE");
  std::string_view power = mark == std::string_view::npos ? std::string_view() : number.substr(mark + 1);
  int64_t exponent = 0;
  TakeInteger(power, exponent);
  const std::string_view mantissa = number.substr(0, mark);
  const size_t point = std::min(mantissa.find('.'), mantissa.size());
  const size_t digit = mantissa.find_first_not_of("0.");
  const int64_t place = static_cast<int64_t>(point) - static_cast<int64_t>(digit);
  // No mantissa is so long that it could make up for the far ends of the exponent.
  constexpr int64_t kFar = std::numeric_limits<int64_t>::max() / 2;
  const bool large = std::clamp(exponent, -kFar, kFar) + place > 0;
  const double value = large ? std::numeric_limits<double>::infinity() : 0.0;
  return negative ? -value : value;
}

/// The digits behind "0x"; false when there are none.
bool TakeHexadecimal(std::string_view& text, bool negative, double& value) {
  if (text.empty() || text[0] == '-') return false;
  // from_chars takes "p+-2" for a power in some libraries; there the number ends before the p.
  const size_t power = text.find_first_of("pP");
  const bool twoSigns = power != std::string_view::npos && text.substr(power + 1, 2) == "+-";
  const std::string_view digits = twoSigns ? text.substr(0, power) : text;
  double parsed = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), parsed, std::chars_format::hex);
  const std::string_view number = digits.substr(0, static_cast<size_t>(end - digits.data()));
  if (error == std::errc::invalid_argument || number.find_first_of("nN") != std::string_view::npos)
    return false;
  if (error == std::errc::result_out_of_range) {
    const bool small = power < number.size() && number[power + 1] == '-';
    parsed = small ? 0.0 : std::numeric_limits<double>::infinity();
  }
  value = negative ? -parsed : parsed;
  text.remove_prefix(number.size());
  return true;
}

/// The common form: sign, digits, point, digits. While the digits make an integer below 2^53 and the power of
/// ten is exact too, one division rounds correctly (W. D. Clinger, How to Read Floating Point Numbers
/// Accurately, 1990).
bool TakePlainReal(std::string_view& text, double& value) {
  static constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  constexpr size_t kMostDigits = 15;
  const char* at = text.data();
  const char* const end = at + text.size();
  const bool negative = at != end && *at == '-';
  if (negative) ++at;
  const char* const first = at;
  int64_t digits = 0;
  // 16 characters hold the digits and the point, so that the loops can't run on.
  const char* const limit = end - at > 16 ? at + 16 : end;
  for (; at != limit && IsDigit(*at); ++at) digits = 10 * digits + (*at - '0');
  size_t count = static_cast<size_t>(at - first), places = 0;
  if (at != limit && *at == '.') {
    const char* const fraction = ++at;
    for (; at != limit && IsDigit(*at); ++at) digits = 10 * digits + (*at - '0');
    places = static_cast<size_t>(at - fraction);
    count += places;
  }
  if (count == 0 || count > kMostDigits) return false;
  // What follows must be no part of a number: no more digits, no exponent, no hexadecimal mark.
  if (at != end && (IsDigit(*at) || *at == '.' || *at == 'e' || *at == 'E' || *at == 'x' || *at == 'X'))
    return false;
  const double magnitude = static_cast<double>(digits) / kPowersOfTen[places];
  value = negative ? -magnitude : magnitude;
  text.remove_prefix(static_cast<size_t>(at - text.data()));
  return true;
}

bool TakeReal(std::string_view& text, double& value) {
  std::string_view rest = TrimLeft(text);
  if (TakePlainReal(rest, value)) {
    text = rest;
    return true;
  }
  if (rest.size() > 1 && rest[0] == '+' && rest[1] != '-') rest.remove_prefix(1);
  double parsed = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), parsed);
  if (error == std::errc::invalid_argument) return false;
  const size_t used = static_cast<size_t>(end - rest.data());
  if (error == std::errc::result_out_of_range) {
    value = RealOutOfRange(rest.substr(0, used));
    text = rest.substr(used);
    return true;
  }
  const size_t sign = rest[0] == '-' ? 1 : 0;
  const bool mayBeHexadecimal =
      used == sign + 1 && rest[sign] == '0' && used < rest.size() && (rest[used] == 'x' || rest[used] == 'X');
  if (mayBeHexadecimal) {
    std::string_view digits = rest.substr(used + 1);
    if (TakeHexadecimal(digits, sign == 1, value)) {
      text = digits;
      return true;
    }
  }
  value = parsed;
  text = rest.substr(used);
  return true;
}

}  // namespace

int32_t ParseInt(std::string_view text) {
  int32_t value = 0;
  TakeInteger(text, value);
  return value;
}

double ParseReal(std::string_view text) {
  double value = 0;
  TakeReal(text, value);
  return value;
}

template <typename T>
bool FieldScanner::Integer(T& value) {
  if (!bFailed) bFailed = !TakeInteger(sText, value);
  if (bFailed || !EndsAField(sText)) bWhole = false;
  // What is out of range saturates.
  if (value == std::numeric_limits<T>::max() || value == std::numeric_limits<T>::min()) bWhole = false;
  return !bFailed;
}

bool FieldScanner::Int(int32_t& value) { return Integer(value); }

bool FieldScanner::Int(int64_t& value) { return Integer(value); }

bool FieldScanner::Real(double& value) {
  if (!bFailed) bFailed = !TakeReal(sText, value);
  if (bFailed || !EndsAField(sText)) bWhole = false;
  return !bFailed;
}

bool FieldScanner::Word(std::string_view& word) {
  if (bFailed) return false;
  const std::string_view rest = TrimLeft(sText);
  size_t length = 0;
  while (length < rest.size() && !IsSpace(rest[length])) ++length;
  if (length == 0) {
    bFailed = true;
    return false;
  }
  word = rest.substr(0, length);
  sText = rest.substr(length);
  return true;
}

bool FieldScanner::SkipInt() {
  int64_t ignored;
  return Int(ignored);
}

bool FieldScanner::SkipReal() {
  double ignored;
  return Real(ignored);
}

}  // namespace orvo
