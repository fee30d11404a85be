// Everything that is found in the files of one block, in the order in which it is shown.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "check/Codes.h"

namespace orvo {

/// Where a finding points at.
struct FindingPlace {
  std::string szFile;
  int64_t nLine = 0;    ///< from 1; 0: none in particular
  int64_t nColumn = 0;  ///< from 1, in bytes; 0: none in particular
  int64_t nByte = -1;   ///< offset in a binary file; -1: none in particular
};

/// Keeps at most kMostOfACode findings of a code and counts the others.
class Diagnosis {
 public:
  static constexpr int64_t kMostOfACode = 50;

  /// `code` stands in the table of codes, which gives its weight. `what` is a clause without full stop,
  /// `remedy` a sentence without full stop.
  void Add(const char* code, FindingPlace place, std::string what, std::string remedy);

  /// Makes one finding of the last `count` of that code, all of them in `file`: the first, whose text goes on
  /// with `more`. Nothing is done where the first of them is not shown.
  void Gather(const char* code, const std::string& file, int64_t count, const std::string& more);

  const std::vector<Finding>& Findings() const { return vFindings; }
  /// All of that code, shown or not.
  int64_t CountOf(std::string_view code) const;
  int64_t ErrorNum() const { return nErrors; }
  int64_t WarningNum() const { return nWarnings; }

 private:
  struct Tally {
    Severity Weight;
    int64_t nCount = 0;
  };
  std::vector<Finding> vFindings;
  std::map<std::string, Tally, std::less<>> TallyOfCode;
  int64_t nErrors = 0, nWarnings = 0;
};

/// "FILE:LINE:COLUMN: error: what. Remedy [CODE]" in one line, with names as they can be shown;
/// "FILE:@OFFSET:" for a binary file, and without what is not known of a place.
std::string CodedTextOf(const Finding& finding);

/// All findings up to `least` in this form, each code followed by the number of those that are not shown, if
/// any.
std::vector<std::string> LinesOf(const Diagnosis& diagnosis, Severity least = Severity::Note);

}  // namespace orvo
