#include "block/Scan.h"

#include <charconv>
#include <cstdlib>
#include <limits>
#include <string>

namespace orvo {
namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

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

/// The forms that from_chars leaves to the C library: hexadecimal, and values out of range.
bool TakeRareReal(std::string_view& text, double& value) {
  const std::string copy(text.substr(0, 511));
  char* end = nullptr;
  const double parsed = std::strtod(copy.c_str(), &end);
  if (end == copy.c_str()) return false;
  value = parsed;
  text.remove_prefix(static_cast<size_t>(end - copy.c_str()));
  return true;
}

bool TakeReal(std::string_view& text, double& value) {
  std::string_view rest = TrimLeft(text);
  if (rest.size() > 1 && rest[0] == '+' && rest[1] != '-') rest.remove_prefix(1);
  double parsed = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), parsed);
  if (error == std::errc::invalid_argument) return false;
  const size_t used = static_cast<size_t>(end - rest.data());
  const bool mayBeHexadecimal = used < rest.size() && (rest[used] == 'x' || rest[used] == 'X');
  if (error == std::errc::result_out_of_range || mayBeHexadecimal) {
    text = rest;
    return TakeRareReal(text, value);
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

bool FieldScanner::Int(int32_t& value) {
  if (!bFailed) bFailed = !TakeInteger(sText, value);
  return !bFailed;
}

bool FieldScanner::Int(int64_t& value) {
  if (!bFailed) bFailed = !TakeInteger(sText, value);
  return !bFailed;
}

bool FieldScanner::Real(double& value) {
  if (!bFailed) bFailed = !TakeReal(sText, value);
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
