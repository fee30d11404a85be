#include "check/Diagnosis.h"

#include <stdexcept>

namespace orvo {

void Diagnosis::Add(const char* code, FindingPlace place, std::string what, std::string remedy) {
  const CodeEntry* entry = FindCode(code);
  if (!entry) throw std::logic_error(std::string("no such code: ") + code);
  if (entry->Weight == Severity::Error) ++nErrors;
  if (entry->Weight == Severity::Warning) ++nWarnings;
  if (++CountOfCode[code] > kMostOfACode) return;
  vFindings.push_back({entry->Weight, std::move(place.szFile), place.nLine, place.nByte, std::move(what),
                       std::move(remedy), code, place.nColumn});
}

int64_t Diagnosis::CountOf(std::string_view code) const {
  const auto found = CountOfCode.find(code);
  return found == CountOfCode.end() ? 0 : found->second;
}

}  // namespace orvo
