#include "check/StrictLines.h"

#include <utility>

#include "base/Platform.h"
#include "base/Scan.h"

namespace orvo {

StrictLines::StrictLines(const std::string& path) : szPath(path) {
  if (!File.Open(path)) Refuse("the file can't be read", "Check its path and permissions", false, "S001");
}

bool StrictLines::Next(std::string_view& line) {
  line = {};
  if (First || !File.Next(line)) return false;
  ++nLine;
  if (File.LineEnded()) return true;
  Refuse("the line is longer than " + std::to_string(TextReader::kMaxLine - 1) + " characters",
         "Longer lines are read as several: shorten it", false, "S004");
  return false;
}

bool StrictLines::NextFilled(std::string_view& line) {
  while (Next(line)) {
    if (!Trimmed(line).empty()) return true;
  }
  return false;
}

void StrictLines::Refuse(std::string what, std::string remedy, bool atEnd, const char* code) {
  if (First) return;
  First =
      Finding{Severity::Error, szPath, nLine + (atEnd ? 1 : 0), -1, std::move(what), std::move(remedy), code};
}

Finding StrictLines::Note(std::string what, std::string remedy) const {
  return {Severity::Note, szPath, nLine, -1, std::move(what), std::move(remedy)};
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kWhite = " \t\n\v\f\r";
  const size_t begin = text.find_first_not_of(kWhite);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kWhite) - begin + 1);
}

std::string Quoted(std::string_view line) {
  constexpr size_t kMost = 40;
  const std::string_view text = Trimmed(line);
  if (text.empty()) return "an empty line";
  return "'" + std::string(text.substr(0, kMost)) + (text.size() > kMost ? "..." : "") + "'";
}

std::string RemedyOfLine(std::string_view line, const char* otherwise) {
  const std::string_view text = Trimmed(line);
  if (text.empty()) return "Remove the empty line";
  if (text[0] == '#' || text.starts_with("//") || text[0] == '%' || text[0] == '*')
    return "Comments are not known here: remove the line";
  if (text.find(';') != std::string_view::npos || text.find(',') != std::string_view::npos)
    return "Separate fields by blanks, and write numbers with a decimal point";
  return otherwise;
}

std::optional<Finding> NoteOpenEnd(const std::string& path) {
  InputFile file;
  char last = '\n';
  if (!file.Open(path) || file.Size() < 1 || file.ReadAt(file.Size() - 1, &last, 1) != 1 || last == '\n')
    return {};
  return Finding{Severity::Note,
                 path,
                 0,
                 -1,
                 "the last line has no line end",
                 "If the file was cut off there, so was its last number",
                 "S015"};
}

}  // namespace orvo
