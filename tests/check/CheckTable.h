// A diagnosis as text that tables can hold.
#pragma once

#include <string>

#include "check/Diagnosis.h"
#include "check/SurveyReading.h"
#include "support/TestFiles.h"

namespace orvo::test {

/// One line for each finding: "S006 3:12 " with line and column, or "S017 @292 " with the offset, and what.
inline std::string Listed(const Diagnosis& diagnosis) {
  std::string text;
  for (const Finding& one : diagnosis.Findings()) {
    if (!text.empty()) text += '\n';
    text += one.szCode + " ";
    text += one.nByte >= 0 ? "@" + std::to_string(one.nByte)
                           : std::to_string(one.nLine) + ":" + std::to_string(one.nColumn);
    text += " " + one.szWhat;
  }
  return text;
}

}  // namespace orvo::test
