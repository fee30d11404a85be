#include "verdict/VerdictText.h"

namespace orvo {

std::string VerdictText(const Verdict& verdict) {
  return std::string("Verdict: ") + GradeName(verdict.Result) + "\n" + ReasonText(verdict);
}

std::string ReasonText(const Verdict& verdict) {
  std::string text;
  for (const VerdictReason& reason : verdict.vReasons) {
    text += std::string(GradeName(reason.Weight)) + ": " + reason.szWhat;
    if (!reason.szLimit.empty()) text += "; limit " + reason.szLimit;
    text += ". " + reason.szRemedy + ".\n";
  }
  return text;
}

}  // namespace orvo
