// Colours, where a person sees them.
#pragma once

#include <cstdio>
#include <string>

#include "check/Finding.h"
#include "verdict/Judge.h"

namespace orvo::report {

/// Paints words, or leaves them as they are. No colour means anything that the word does not say.
class Ink {
 public:
  explicit Ink(bool on) : bOn(on) {}
  std::string OfGrade(Grade grade, const std::string& text) const;
  std::string OfSeverity(Severity weight, const std::string& text) const;

  /// TextOf with its "error", "warning" or "note" painted.
  std::string FindingText(const Finding& finding) const;
  /// VerdictText with its grades painted.
  std::string VerdictLines(const Verdict& verdict) const;
  /// ReasonText with its grades painted.
  std::string ReasonLines(const Verdict& verdict) const;

 private:
  std::string Painted(const char* colour, const std::string& text) const;
  bool bOn;
};

/// Whether colours are wanted: on a terminal that is not dumb, unless NO_COLOR holds anything.
/// @param noColour, term  the variables of the environment; null where they are not set
bool WantsColour(bool terminal, const char* noColour, const char* term);

bool IsTerminal(std::FILE* stream);
/// By the stream and the environment of the program.
Ink InkOf(std::FILE* stream);

}  // namespace orvo::report
