#include "exchange/survey/DelimitedTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "check/StrictLines.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

/// The character that separates the headings, 0 where none does.
char DelimiterOf(const std::string& line) {
  char best = 0;
  size_t most = 1;
  for (const char delimiter : {',', ';', '\t'}) {
    std::vector<std::string> fields;
    if (SplitFields(line, delimiter, fields) && fields.size() > most) {
      most = fields.size();
      best = delimiter;
    }
  }
  return best;
}

/// Of the line that spreadsheets put first: sep=; 0 of any other.
char DelimiterNamed(std::string_view line) {
  while (line.ends_with('\r') || line.ends_with(' ')) line.remove_suffix(1);
  if (line.size() == 7 && line.front() == '"' && line.back() == '"') line = line.substr(1, 5);
  constexpr std::string_view kWord = "sep=";
  const bool named = line.size() == kWord.size() + 1 &&
                     std::ranges::equal(line.substr(0, kWord.size()), kWord,
                                        [](char c, char word) { return (c | 0x20) == (word | 0x20); });
  return named && (line[4] == ',' || line[4] == ';' || line[4] == '\t') ? line[4] : '\0';
}

/// UTF-16, by its mark or by the zeros in its letters.
bool IsWide(const std::string& line) {
  return line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF") ||
         line.substr(0, 4).find('\0') != std::string::npos;
}

bool HasNumber(const std::vector<std::string>& fields) {
  return std::ranges::any_of(fields,
                             [](const std::string& name) { return NumberIn(name, true).has_value(); });
}

}  // namespace

TextLines::TextLines(const std::string& path) {
  if (File.Open(path)) return;
  Refuse(path, 0, File.Failed() ? "cannot be read: " + File.Fault().szReason : "there is no such file",
         "Look at the path");
}

bool TextLines::Next(std::string& line) {
  std::string_view piece;
  if (!File.Next(piece)) {
    if (File.Failed())
      Refuse(File.Path(), nLine + 1, "cannot be read: " + File.Fault().szReason, "Look at the file");
    return false;
  }
  ++nLine;
  line = piece;
  while (!File.LineEnded() && File.Next(piece)) line += piece;
  return true;
}

bool TextLines::NextFilled(std::string& line) {
  while (Next(line)) {
    if (!Trimmed(line).empty()) return true;
  }
  return false;
}

void TextLines::Fail(std::string what, std::string remedy) const {
  Refuse(File.Path(), nLine, std::move(what), std::move(remedy));
}

bool SplitFields(std::string_view line, char delimiter, std::vector<std::string>& fields) {
  fields.clear();
  size_t at = 0;
  while (true) {
    std::string field;
    while (at < line.size() && line[at] == ' ') ++at;
    if (at < line.size() && line[at] == '"') {
      for (++at;; ++at) {
        if (at >= line.size()) return false;
        if (line[at] != '"') {
          field += line[at];
        } else if (at + 1 < line.size() && line[at + 1] == '"') {
          field += line[++at];
        } else {
          break;
        }
      }
      const size_t end = std::min(line.find(delimiter, ++at), line.size());
      if (!Trimmed(line.substr(at, end - at)).empty()) return false;
      at = end;
    } else {
      const size_t end = std::min(line.find(delimiter, at), line.size());
      field = Trimmed(line.substr(at, end - at));
      at = end;
    }
    if (fields.size() == kMostFields) return false;
    fields.push_back(std::move(field));
    if (at >= line.size()) return true;
    ++at;
  }
}

std::vector<std::string> BlankFields(std::string_view line, size_t most) {
  std::vector<std::string> fields;
  constexpr const char* kBlanks = " \t\r";
  for (size_t at = line.find_first_not_of(kBlanks); at != std::string_view::npos && fields.size() < most;) {
    const size_t end = std::min(line.find_first_of(kBlanks, at), line.size());
    fields.emplace_back(line.substr(at, end - at));
    at = line.find_first_not_of(kBlanks, end);
  }
  return fields;
}

std::string QuotedField(std::string_view text) {
  return Trimmed(text).empty() ? std::string("an empty field") : Quoted(text);
}

std::optional<double> NumberIn(std::string_view text, bool commas) {
  std::string changed;
  if (commas && std::count(text.begin(), text.end(), ',') == 1 && text.find('.') == std::string_view::npos) {
    changed = text;
    std::replace(changed.begin(), changed.end(), ',', '.');
    text = changed;
  }
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

DelimitedTable::DelimitedTable(const std::string& path) : Text(path) {
  const std::string line = ReadHeadings();
  if (cDelimiter == 0) cDelimiter = DelimiterOf(line);
  if (cDelimiter == 0 || !SplitFields(line, cDelimiter, Names)) {
    Text.Fail(Quoted(line) + " is no line of headings",
              "The first line names the columns, separated by commas, semicolons or tabs");
  }
  if (HasNumber(Names)) {
    Text.Fail("the line of headings is missing: " + Quoted(line) + " has numbers",
              "Put a line above it that names the columns");
  }
}

std::string DelimitedTable::ReadHeadings() {
  std::string line, remark;
  cDelimiter = 0;
  while (Text.NextFilled(line)) {
    if (IsWide(line)) Text.Fail("the file is in UTF-16", "Save it as UTF-8: in a spreadsheet as CSV UTF-8");
    if (const char delimiter = DelimiterNamed(line); delimiter != 0 && cDelimiter == 0) {
      cDelimiter = delimiter;
    } else if (Trimmed(line).starts_with('#')) {
      remark = line;
    } else {
      std::vector<std::string> fields;
      const char between = cDelimiter != 0 ? cDelimiter : DelimiterOf(line);
      const bool named =
          !remark.empty() && between != 0 && SplitFields(line, between, fields) && HasNumber(fields);
      if (!named) return line;
      Ahead = std::move(line);
      return remark;
    }
  }
  if (remark.empty()) Text.Fail("the file is empty", "It begins with a line of headings");
  return remark;
}

bool DelimitedTable::NextLine(std::string& line) {
  if (Ahead) {
    line = std::move(*Ahead);
    Ahead.reset();
    return true;
  }
  while (Text.NextFilled(line)) {
    // Without a delimiter it is no line of the table.
    const bool remark = Trimmed(line).starts_with('#') && line.find(cDelimiter) == std::string::npos;
    if (!remark) return true;
  }
  return false;
}

bool DelimitedTable::Next(std::vector<std::string>& fields) {
  std::string line;
  if (!NextLine(line)) return false;
  if (!SplitFields(line, cDelimiter, fields)) {
    Text.Fail("quotes are not closed in " + Quoted(line),
              "A field in quotes ends in its line, and a line has at most " + std::to_string(kMostFields) +
                  " fields");
  }
  // A delimiter behind the last field is a habit of some programs.
  if (fields.size() == Names.size() + 1 && fields.back().empty()) fields.pop_back();
  if (fields.size() != Names.size()) {
    Text.Fail("the line has " + std::to_string(fields.size()) + (fields.size() == 1 ? " field" : " fields") +
                  ", the headings are " + std::to_string(Names.size()),
              cDelimiter == ',' ? "Where numbers have decimal commas, separate fields by semicolons"
                                : "Each line has a field for each heading");
  }
  return true;
}

}  // namespace orvo::exchange
