// What is wrong with an input, where, and what helps.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvo {

enum class Severity {
  Error,    ///< a guarded run is refused
  Warning,  ///< it goes on, and what comes of it wants to be looked at
  Note      ///< it goes on, without what is told
};

struct Finding {
  Severity Weight = Severity::Error;
  std::string szFile;
  int64_t nLine = 0;     ///< from 1; 0: no line in particular
  int64_t nByte = -1;    ///< offset in a binary file; -1: none in particular
  std::string szWhat;    ///< a clause without its full stop
  std::string szRemedy;  ///< a sentence without its full stop, empty where there is none
  std::string szCode{};  ///< of the table of codes; empty where it has none
  int64_t nColumn = 0;   ///< from 1, in bytes; 0: none in particular
};

/// "error", "warning" or "note".
const char* NameOf(Severity weight);

/// "FILE:LINE: error: what. Remedy." in one line, with names as they can be shown. A binary file has
/// "FILE: byte N: " instead; a finding about no file begins with "error: ".
std::string TextOf(const Finding& finding);

bool HasError(const std::vector<Finding>& findings);
/// Appends `more` to `findings`.
void Append(std::vector<Finding>& findings, const std::vector<Finding>& more);

/// "3 images: A, B and C", "5 images: A, B, C ...", "1 image"; `kind` in the singular, its plural with an s.
std::string CountOf(int64_t count, const std::string& kind, const std::vector<std::string>& firstNames);

}  // namespace orvo
