#include "report/console/Ink.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "verdict/VerdictText.h"

namespace orvo::report {
namespace {

constexpr const char *kGreen = "\033[1;32m", *kYellow = "\033[1;33m", *kRed = "\033[1;31m",
                     *kCyan = "\033[36m";
constexpr const char* kEnd = "\033[0m";

}  // namespace

std::string Ink::Painted(const char* colour, const std::string& text) const {
  return bOn ? colour + text + kEnd : text;
}

std::string Ink::OfGrade(Grade grade, const std::string& text) const {
  switch (grade) {
    case Grade::Good:
      return Painted(kGreen, text);
    case Grade::Doubtful:
      return Painted(kYellow, text);
    case Grade::Unusable:
      break;
  }
  return Painted(kRed, text);
}

std::string Ink::OfSeverity(Severity weight, const std::string& text) const {
  switch (weight) {
    case Severity::Error:
      return Painted(kRed, text);
    case Severity::Warning:
      return Painted(kYellow, text);
    case Severity::Note:
      break;
  }
  return Painted(kCyan, text);
}

std::string Ink::FindingText(const Finding& finding) const {
  const std::string text = TextOf(finding);
  // The same without a file is what the word stands at the head of.
  Finding bare = finding;
  bare.szFile.clear();
  const std::string tail = TextOf(bare), word = NameOf(finding.Weight);
  return text.substr(0, text.size() - tail.size()) + OfSeverity(finding.Weight, word) +
         tail.substr(word.size());
}

std::string Ink::ReasonLines(const Verdict& verdict) const {
  std::string text;
  for (const VerdictReason& reason : verdict.vReasons) {
    Verdict one;
    one.vReasons = {reason};
    const std::string word = GradeName(reason.Weight);
    text += OfGrade(reason.Weight, word) + ReasonText(one).substr(word.size());
  }
  return text;
}

std::string Ink::VerdictLines(const Verdict& verdict) const {
  return "Verdict: " + OfGrade(verdict.Result, GradeName(verdict.Result)) + "\n" + ReasonLines(verdict);
}

bool WantsColour(bool terminal, const char* noColour, const char* term) {
  if (!terminal || (noColour != nullptr && *noColour != '\0')) return false;
  return term == nullptr || std::string_view(term) != "dumb";
}

bool IsTerminal(std::FILE* stream) {
  const int descriptor = ::fileno(stream);
  return descriptor >= 0 && ::isatty(descriptor) == 1;
}

Ink InkOf(std::FILE* stream) {
  return Ink(WantsColour(IsTerminal(stream), std::getenv("NO_COLOR"), std::getenv("TERM")));
}

}  // namespace orvo::report
