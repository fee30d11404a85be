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

inline constexpr char kPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839404142434445464748495051"
    "525354555657585960616263646566676869707172737475767778798081828384858687888990919293949596979899";

/// Twelve characters: blanks, sign, `millionths` below 1e10 with the point before its last six digits.
inline char* WriteMillionths(char* out, uint64_t millionths, bool negative) {
  const auto whole = static_cast<uint32_t>(millionths / 1000000);
  const auto rest = static_cast<uint32_t>(millionths % 1000000);
  std::memset(out, ' ', 4);
  char* const point = out + 5;
  char* head = point;
  uint32_t digits = whole;
  do {
    *--head = static_cast<char>('0' + digits % 10);
    digits /= 10;
  } while (digits != 0);
  if (negative) head[-1] = '-';
  *point = '.';
  std::memcpy(point + 1, kPairs + 2 * (rest / 10000), 2);
  std::memcpy(point + 3, kPairs + 2 * (rest / 100 % 100), 2);
  std::memcpy(point + 5, kPairs + 2 * (rest % 100), 2);
  return out + 12;
}

}  // namespace fixed_format

/// Writes what printf("%12.6lf") prints, without an end; `out` has room for kMaxFixedFloat. Returns the end.
/// A float has 24 significant bits and 1e6 is 2^6 times 14 bits, so the product is exact in double, and
/// rounding it halves to even gives the digits of the C library.
inline char* WriteFixed(char* out, float value) {
  using namespace fixed_format;
  const auto wide = static_cast<double>(value);
  const double millionths = (wide < 0 ? -wide : wide) * kOne;
  if (!(millionths < kLimit)) return WriteSlowly(out, wide);
  const auto rounded = std::bit_cast<uint64_t>(millionths + kRounder) - std::bit_cast<uint64_t>(kRounder);
  return WriteMillionths(out, rounded, std::bit_cast<uint32_t>(value) >> 31 != 0);
}

/// The same for a double; `out` has room for kMaxFixedDouble. The product is rounded by less than 1e-6 here,
/// so a fraction that stands closer to a half is left to the C library.
inline char* WriteFixed(char* out, double value) {
  using namespace fixed_format;
  const double millionths = (value < 0 ? -value : value) * kOne;
  if (!(millionths < kLimit)) return WriteSlowly(out, value);
  const double integer = (millionths + kRounder) - kRounder;
  const double remainder = millionths - integer;
  if (!(remainder < 0.499998 && remainder > -0.499998)) return WriteSlowly(out, value);
  return WriteMillionths(out, static_cast<uint64_t>(integer), std::bit_cast<uint64_t>(value) >> 63 != 0);
}

}  // namespace orvo
