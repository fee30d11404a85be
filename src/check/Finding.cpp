#include "check/Finding.h"

#include <algorithm>

#include "base/PrintableName.h"

namespace orvo {

const char* NameOf(Severity weight) {
  switch (weight) {
    case Severity::Error:
      return "error";
    case Severity::Warning:
      return "warning";
    case Severity::Note:
      break;
  }
  return "note";
}

std::string TextOf(const Finding& finding) {
  std::string text = PrintableName(finding.szFile);
  if (!text.empty()) {
    if (finding.nLine > 0) text += ":" + std::to_string(finding.nLine);
    text += ": ";
    if (finding.nByte >= 0) text += "byte " + std::to_string(finding.nByte) + ": ";
  }
  text += NameOf(finding.Weight) + std::string(": ");
  text += PrintableName(finding.szWhat) + ".";
  if (!finding.szRemedy.empty()) text += " " + PrintableName(finding.szRemedy) + ".";
  return text;
}

bool HasError(const std::vector<Finding>& findings) {
  return std::ranges::any_of(findings, [](const Finding& one) { return one.Weight == Severity::Error; });
}

void Append(std::vector<Finding>& findings, const std::vector<Finding>& more) {
  findings.insert(findings.end(), more.begin(), more.end());
}

std::string CountOf(int64_t count, const std::string& kind, const std::vector<std::string>& firstNames) {
  std::string text = std::to_string(count) + " " + kind + (count == 1 ? "" : "s");
  const auto shown = static_cast<int64_t>(firstNames.size());
  for (int64_t i = 0; i < shown; ++i) {
    const char* joint = i == 0 ? ": " : i + 1 == count ? " and " : ", ";
    text += joint + firstNames[static_cast<size_t>(i)];
  }
  if (shown > 0 && shown < count) text += " ...";
  return text;
}

}  // namespace orvo
