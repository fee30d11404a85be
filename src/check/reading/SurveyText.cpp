#include "check/reading/SurveyText.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "check/StrictLines.h"

namespace orvo {
namespace {

constexpr size_t kLongestLine = TextReader::kMaxLine - 1;
/// So many lines with a comma are told each on its own.
constexpr int64_t kMostAlike = 5;

bool IsOneOf(std::string_view code, std::initializer_list<std::string_view> codes) {
  return std::ranges::find(codes, code) != codes.end();
}

}  // namespace

SurveyText::SurveyText(const std::string& path, Diagnosis& diagnosis) : Result(diagnosis) {
  bReadable = File.Open(path);
  if (!bReadable) {
    const std::string reason = File.Failed() ? File.Fault().szReason : "there is no such file";
    Result.Add("S001", {path}, "the file can't be read: " + reason, "Check its path and permissions");
    return;
  }
  LookAtStart();
}

SurveyText::~SurveyText() {
  Release();
  const auto likewise = [](int64_t count) {
    return "; likewise in " + std::to_string(count - 1) + " lines behind it";
  };
  if (nCommas > kMostAlike) Result.Gather("S006", Path(), nCommas, likewise(nCommas));
  if (nShort > kMostAlike && bAllSeparated) Result.Gather("S009", Path(), nShort, likewise(nShort));
}

void SurveyText::LookAtStart() {
  InputFile bytes;
  char start[3] = {};
  if (!bytes.Open(Path())) return;
  const auto got = static_cast<size_t>(bytes.ReadAt(0, start, sizeof start));
  const std::string_view head(start, got);
  if (head.starts_with("\xFF\xFE") || head.starts_with("\xFE\xFF")) {
    Result.Add("S003", {Path(), 1, 1}, "the file is UTF-16 text", "Save it as plain text, or as UTF-8");
    bReadable = false;
  } else if (head == "\xEF\xBB\xBF") {
    Result.Add("S002", {Path(), 1, 1}, "the file begins with a byte order mark, which is passed over",
               "Save it without one for programs that take it for a part of the first field");
  }
}

bool SurveyText::Next(std::string_view& line) {
  if (std::exchange(bAgain, false)) {
    line = Line;
    return true;
  }
  line = Line = {};
  if (!File.Next(line)) return false;
  Release();
  ++nLine;
  bBrokenLine = false;
  LookAtLine(line);
  Line = line;
  return true;
}

void SurveyText::LookAtLine(std::string_view& line) {
  const size_t nul = line.find('\0');
  if (!File.LineEnded()) {
    szLongLine = line.substr(0, kLongestLine);
    std::string_view more;
    while (!File.LineEnded() && File.Next(more)) {
    }
    line = szLongLine;
    Tell("S004", static_cast<int64_t>(kLongestLine) + 1,
         "the line is longer than " + std::to_string(kLongestLine) + " characters",
         "Longer lines are read as several: shorten it");
    bBrokenLine = true;
  }
  if (nul != std::string_view::npos) {
    Tell("S003", static_cast<int64_t>(nul) + 1, "the line holds a zero byte",
         "The file is no plain text, or was damaged: copy or write it anew");
    bBrokenLine = true;
  }
}

void SurveyText::GoTo(int64_t offset, int64_t line) {
  Release();
  File.Seek(offset);
  nLine = line;
  bAgain = bBrokenLine = false;
}

std::vector<std::string> SurveyText::Following(size_t count) const {
  std::vector<std::string> lines;
  InputFile bytes;
  if (!bytes.Open(Path())) return lines;
  std::string text(count * TextReader::kMaxLine, '\0');
  text.resize(static_cast<size_t>(bytes.ReadAt(BytesRead(), text.data(), std::ssize(text))));
  for (size_t begin = 0; begin < text.size() && lines.size() < count;) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

bool SurveyText::NextMeant(std::string_view& line) {
  while (Next(line)) {
    if (!TellNotMeant(line)) return true;
  }
  return false;
}

bool SurveyText::IsComment(std::string_view line) {
  const std::string_view text = Trimmed(line);
  return text.starts_with('#') || text.starts_with('%') || text.starts_with('*') || text.starts_with("//");
}

bool SurveyText::TellNotMeant(std::string_view line) {
  const std::string_view text = Trimmed(line);
  if (text.empty()) {
    Tell("S010", 1, "the line is empty", "Remove the empty line");
    return true;
  }
  if (!IsComment(text)) return false;
  Tell("S010", static_cast<int64_t>(text.data() - line.data()) + 1, "comments are not known here",
       "Remove the line");
  return true;
}

FindingPlace SurveyText::Here(int64_t column) const { return {Path(), nLine, column}; }

void SurveyText::Tell(const char* code, int64_t column, std::string what, std::string remedy) {
  if (!bBrokenLine) vHeld.push_back({code, Here(column), std::move(what), std::move(remedy)});
}

void SurveyText::Tell(const LineFields& looked) {
  for (const FieldFault& fault : looked.Faults)
    Tell(fault.szCode, fault.nColumn, fault.szWhat, fault.szRemedy);
}

bool SurveyText::IsCutLine() const {
  return BytesRead() >= FileBytes() && FileBytes() > 0 && NoteOpenEnd(Path()).has_value();
}

void SurveyText::TellEnd(std::string what) {
  vHeld.clear();
  if (TellFailure()) return;
  Result.Add("S011", {Path(), nLine}, std::move(what),
             "Where it was cut off, copy it anew; else correct the counts in it");
}

bool SurveyText::TellFailure() {
  if (!File.Failed()) return false;
  Result.Add("S001", {Path(), nLine}, "the file can't be read on: " + File.Fault().szReason, "Copy it anew");
  return true;
}

void SurveyText::TellRest(const std::string& behind, const std::string& remedy, bool inStep) {
  std::string_view line;
  bool told = false;
  while (Next(line)) {
    const std::string_view text = Trimmed(line);
    if (told || !inStep || text.empty()) continue;
    told = true;
    Tell("S012", static_cast<int64_t>(text.data() - line.data()) + 1, Quoted(line) + behind, remedy);
    bBrokenLine = true;
  }
  TellOpenEnd();
}

void SurveyText::TellOpenEnd() {
  if (TellFailure()) return;
  const auto open = FileBytes() > 0 ? NoteOpenEnd(Path()) : std::nullopt;
  const bool brokenFields = !vHeld.empty() && std::ranges::all_of(vHeld, [](const Held& held) {
    return IsOneOf(held.szCode, {"S007", "S008", "S009"});
  });
  if (open && brokenFields) return TellCut();
  Release();
  if (open) Result.Add("S015", {Path(), nLine}, open->szWhat, open->szRemedy);
}

void SurveyText::Release() {
  for (Held& held : vHeld) {
    Count(held.szCode, held.szRemedy);
    Result.Add(held.szCode, std::move(held.Place), std::move(held.szWhat), std::move(held.szRemedy));
  }
  vHeld.clear();
}

void SurveyText::Count(const char* code, const std::string& remedy) {
  const std::string_view text = code;
  if (text == "S006") ++nCommas;
  if (text != "S009") return;
  ++nShort;
  bAllSeparated = bAllSeparated && remedy == kSeparateFields;
}

}  // namespace orvo
