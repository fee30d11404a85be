// Numbers as people read them in the page. What is not finite is a dash.
#pragma once

#include <cstdint>
#include <string>

namespace orvo::report {

/// "12.30"; a value that rounds to 0 has no sign. From 1e9 on in powers of ten with three digits, as all that
/// follow do: "1.23e+12".
std::string Fixed(double value, int decimals);
/// "+12.30", "-0.50", "0.00".
std::string Signed(double value, int decimals);
/// "1,234,567"
std::string Thousands(int64_t value);
/// The same of a count that may be kUnknownCount, which is a dash.
std::string CountText(int64_t count);
/// "1,234,567.89"
std::string Thousands(double value, int decimals);
/// With this many significant digits, as "0.00123", "12.3" or "1.2e-07".
std::string Significant(double value, int digits);
/// The same without zeros at its end: "0.04".
std::string Short(double value, int digits = 3);
/// Decimals that show `value` with `digits` significant digits, from 0 to 9.
int DecimalsOf(double value, int digits);
/// "3.2 %"; 0 of 0 is 0.
std::string Share(int64_t part, int64_t whole, int decimals = 1);
/// "0.8 s", "12 s", "3 min 20 s", "2 h 05 min".
std::string Duration(double seconds);
/// "512 bytes", "12.3 MB", "4.1 GB", by powers of 1,000.
std::string Bytes(int64_t bytes);
/// "1 image", "1,200 images"; the plural with an s.
std::string Counted(int64_t count, const char* singular);

}  // namespace orvo::report
