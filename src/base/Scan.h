// Prefix parsing of numbers and fields, as the C library does it in the C locale.
#pragma once

#include <cstdint>
#include <string_view>

namespace orvo {

/// Decimal integer at the head of the text, behind white space; 0 when nothing parses. Out of range
/// saturates.
int32_t ParseInt(std::string_view text);
/// Real number at the head of the text, behind white space; 0 when nothing parses.
double ParseReal(std::string_view text);

/// Walks the white-space separated fields of one line. A field that does not parse leaves its variable as it
/// was, and so does every field behind it.
class FieldScanner {
 public:
  explicit FieldScanner(std::string_view line) : sText(line) {}

  bool Int(int32_t& value);
  bool Int(int64_t& value);
  bool Real(double& value);
  /// A run of characters without white space, of any length; the view lives as long as the line.
  bool Word(std::string_view& word);
  bool SkipInt();
  bool SkipReal();
  /// Every number so far ended at white space or at the end of the line, and none was too large an integer.
  bool NumbersAreWhole() const { return bWhole; }

 private:
  template <typename T>
  bool Integer(T& value);

  std::string_view sText;
  bool bFailed = false;
  bool bWhole = true;
};

}  // namespace orvo
