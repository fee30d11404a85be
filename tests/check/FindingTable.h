// Findings as text that tables can hold.
#pragma once

#include <string>
#include <vector>

#include "check/Finding.h"
#include "support/TestFiles.h"

namespace orvo::test {

/// One line for each finding, the file left out: ":7: error: what" or "note: what", without the remedy.
inline std::string Brief(const std::vector<Finding>& findings) {
  std::string text;
  for (Finding finding : findings) {
    finding.szRemedy.clear();
    const size_t fileLength = finding.szFile.size();
    if (!text.empty()) text += '\n';
    text += TextOf(finding).substr(fileLength);
  }
  return text;
}

/// The text without its line `number`, from 1; with the line twice.
inline std::string DropLine(const std::string& text, int number) {
  size_t begin = 0;
  for (int i = 1; i < number; ++i) begin = text.find('\n', begin) + 1;
  return text.substr(0, begin) + text.substr(text.find('\n', begin) + 1);
}
inline std::string DoubleLine(const std::string& text, int number) {
  size_t begin = 0;
  for (int i = 1; i < number; ++i) begin = text.find('\n', begin) + 1;
  const size_t end = text.find('\n', begin) + 1;
  return text.substr(0, end) + text.substr(begin);
}
inline int LineNum(const std::string& text) {
  int lines = 0;
  for (const char c : text) lines += c == '\n' ? 1 : 0;
  return lines;
}

}  // namespace orvo::test
