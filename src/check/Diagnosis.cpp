#include "check/Diagnosis.h"

#include <algorithm>
#include <stdexcept>

#include "base/PrintableName.h"

namespace orvo {

void Diagnosis::Add(const char* code, FindingPlace place, std::string what, std::string remedy) {
  auto known = TallyOfCode.find(std::string_view(code));
  if (known == TallyOfCode.end()) {
    const CodeEntry* entry = FindCode(code);
    if (!entry) throw std::logic_error(std::string("no such code: ") + code);
    known = TallyOfCode.emplace(code, Tally{entry->Weight}).first;
  }
  Tally& tally = known->second;
  if (tally.Weight == Severity::Error) ++nErrors;
  if (tally.Weight == Severity::Warning) ++nWarnings;
  if (++tally.nCount > kMostOfACode) return;
  vFindings.push_back({tally.Weight, std::move(place.szFile), place.nLine, place.nByte, std::move(what),
                       std::move(remedy), code, place.nColumn});
}

void Diagnosis::Gather(const char* code, const std::string& file, int64_t count, const std::string& more) {
  const auto known = TallyOfCode.find(std::string_view(code));
  if (known == TallyOfCode.end() || count < 2 || count > known->second.nCount) return;
  // Those that are shown are the first kMostOfACode.
  const int64_t before = known->second.nCount - count;
  if (before >= kMostOfACode) return;
  const auto isOne = [&](const Finding& finding) { return finding.szCode == code && finding.szFile == file; };
  int64_t seen = 0;
  const auto first = std::ranges::find_if(
      vFindings, [&](const Finding& finding) { return finding.szCode == code && seen++ == before; });
  if (first == vFindings.end()) return;
  first->szWhat += more;
  vFindings.erase(std::remove_if(first + 1, vFindings.end(), isOne), vFindings.end());
  known->second.nCount -= count - 1;
  if (known->second.Weight == Severity::Error) nErrors -= count - 1;
  if (known->second.Weight == Severity::Warning) nWarnings -= count - 1;
}

int64_t Diagnosis::CountOf(std::string_view code) const {
  const auto found = TallyOfCode.find(code);
  return found == TallyOfCode.end() ? 0 : found->second.nCount;
}

std::string CodedTextOf(const Finding& finding) {
  std::string text = PrintableName(finding.szFile);
  if (!text.empty()) {
    if (finding.nByte >= 0) {
      text += ":@" + std::to_string(finding.nByte);
    } else if (finding.nLine > 0) {
      text += ":" + std::to_string(finding.nLine);
      if (finding.nColumn > 0) text += ":" + std::to_string(finding.nColumn);
    }
    text += ": ";
  }
  text += NameOf(finding.Weight) + std::string(": ") + PrintableName(finding.szWhat);
  if (!finding.szRemedy.empty()) text += ". " + PrintableName(finding.szRemedy);
  return text + " [" + finding.szCode + "]";
}

std::vector<std::string> LinesOf(const Diagnosis& diagnosis, Severity least) {
  std::vector<std::string> lines;
  std::map<std::string, int64_t> shown;
  for (const Finding& finding : diagnosis.Findings()) {
    if (finding.Weight > least) continue;
    lines.push_back(CodedTextOf(finding));
    const int64_t all = diagnosis.CountOf(finding.szCode);
    if (++shown[finding.szCode] < Diagnosis::kMostOfACode || all == Diagnosis::kMostOfACode) continue;
    lines.push_back(std::string(NameOf(finding.Weight)) + ": " +
                    std::to_string(all - Diagnosis::kMostOfACode) + " more of these, " + std::to_string(all) +
                    " in all [" + finding.szCode + "]");
  }
  return lines;
}

}  // namespace orvo
