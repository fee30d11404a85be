// The fields of one line, looked at one by one: for lines that did not read at once.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvo {

enum class FieldKind { Word, Integer, Real };

/// A field that a line has to hold.
struct FieldSpec {
  FieldKind Kind;
  const char* szName;  ///< with its article, as in "the focal length"
};

struct FieldFault {
  const char* szCode;
  int64_t nColumn;  ///< from 1, in bytes
  std::string szWhat, szRemedy;
};

struct LineFields {
  std::vector<FieldFault> Faults;  ///< at most one of a code, in the order of the line
  int64_t nFieldNum = 0;           ///< in the line, needed or not
  /// The line as it was meant: with a decimal point for a comma, and without what stands behind a number.
  std::string szRepaired;
  bool bUsable = false;  ///< every needed field can be read from szRepaired
};

/// The remedy of fields that commas or semicolons separate.
inline constexpr const char kSeparateFields[] =
    "Separate fields by blanks, and write numbers with a decimal point";

/// Holds `line` to `specs`, of which the first `needed` have to be there.
LineFields LookAtFields(std::string_view line, std::span<const FieldSpec> specs, size_t needed);

/// Number of fields in a line, counted up to `atMost`.
int64_t CountFields(std::string_view line, int64_t atMost);

}  // namespace orvo
