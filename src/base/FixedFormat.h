// "%12.6lf" for millions of numbers: the bytes of the C library at a small part of its time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orvo {

/// Room that a "%12.6lf" may need: any float, any double.
inline constexpr size_t kMaxFixedFloat = 48;
inline constexpr size_t kMaxFixedDouble = 320;

namespace fixed_format {

/// The same text through the C library, for everything outside the fast range.
char* WriteSlowly(char* out, double value);

inline constexpr double kOne = 1e6;  ///< 1 in millionths
inline constexpr double kLimit =
    9.999999999e9;                          ///< four digits before the point: twelve characters with a sign
inline constexpr double kRounder = 0x1p52;  ///< added, it rounds to an integer, halves to even

/// Without a branch: nobody foretells the sign of a residual.
inline double Magnitude(double value) {
  return std::bit_cast<double>(std::bit_cast<uint64_t>(value) << 1 >> 1);
}

/// All that twelve characters can hold before and behind the point, ready to be copied.
struct DigitTables {
  static constexpr uint32_t kWholes = 1000;
  char Whole[2 * kWholes][8];  ///< "    0.", "    1.", ..., then the same with a minus sign
  char Three[1000][4];         ///< "000", "001", ...
};

constexpr DigitTables MakeDigitTables() {
  DigitTables tables{};
  for (uint32_t n = 0; n < DigitTables::kWholes; ++n) {
    char(&three)[4] = tables.Three[n];
    three[0] = static_cast<char>('0' + n / 100);
    three[1] = static_cast<char>('0' + n / 10 % 10);
    three[2] = static_cast<char>('0' + n % 10);
    const int leading = n < 10 ? 2 : n < 100 ? 1 : 0;
    for (uint32_t negative = 0; negative < 2; ++negative) {
      char(&whole)[8] = tables.Whole[n + DigitTables::kWholes * negative];
      whole[0] = whole[1] = ' ';
      for (int i = 0; i < 3; ++i) whole[2 + i] = i < leading ? ' ' : three[i];
      if (negative != 0) whole[1 + leading] = '-';
      whole[5] = '.';
    }
  }
  return tables;
}

inline constexpr DigitTables kDigits = MakeDigitTables();

/// Twelve characters: blanks, sign, `millionths` below 1e10 with the point before its last six digits. The
/// character behind them is touched.
inline char* WriteMillionths(char* out, uint64_t millionths, bool negative) {
  const auto whole = static_cast<uint32_t>(millionths / 1000000);
  const auto rest = static_cast<uint32_t>(millionths % 1000000);
  if (whole < DigitTables::kWholes) {
    std::memcpy(out, kDigits.Whole[whole + (negative ? DigitTables::kWholes : 0)], 8);
  } else {
    out[0] = negative ? '-' : ' ';
    out[1] = static_cast<char>('0' + whole / 1000);
    std::memcpy(out + 2, kDigits.Three[whole % 1000], 3);
    out[5] = '.';
  }
  std::memcpy(out + 6, kDigits.Three[rest / 1000], 4);
  std::memcpy(out + 9, kDigits.Three[rest % 1000], 4);
  return out + 12;
}

}  // namespace fixed_format

/// Writes what printf("%12.6lf") prints, without an end; `out` has room for kMaxFixedFloat. Returns the end.
/// A float has 24 significant bits and 1e6 is 2^6 times 14 bits, so the product is exact in double, and
/// rounding it halves to even gives the digits of the C library.
inline char* WriteFixed(char* out, float value) {
  using namespace fixed_format;
  const auto wide = static_cast<double>(value);
  const double millionths = Magnitude(wide) * kOne;
  if (!(millionths < kLimit)) return WriteSlowly(out, wide);
  const auto rounded = std::bit_cast<uint64_t>(millionths + kRounder) - std::bit_cast<uint64_t>(kRounder);
  return WriteMillionths(out, rounded, std::bit_cast<uint32_t>(value) >> 31 != 0);
}

/// The same for a double; `out` has room for kMaxFixedDouble. The product is rounded by less than 1e-6 here,
/// so a fraction that stands closer to a half is left to the C library.
inline char* WriteFixed(char* out, double value) {
  using namespace fixed_format;
  const double millionths = Magnitude(value) * kOne;
  if (!(millionths < kLimit)) return WriteSlowly(out, value);
  const double integer = (millionths + kRounder) - kRounder;
  const double remainder = millionths - integer;
  if (!(remainder < 0.499998 && remainder > -0.499998)) return WriteSlowly(out, value);
  return WriteMillionths(out, static_cast<uint64_t>(integer), std::bit_cast<uint64_t>(value) >> 63 != 0);
}

}  // namespace orvo
