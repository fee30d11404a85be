// A table of text with a line of headings: CSV by commas, semicolons or tabs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/TextReader.h"

namespace orvo::exchange {

/// The lines of a text file, however long. Throws ExchangeFault where it can't be read.
class TextLines {
 public:
  explicit TextLines(const std::string& path);
  bool Next(std::string& line);
  /// The next line that is not blank.
  bool NextFilled(std::string& line);
  /// Of the line that came last, from 1.
  int64_t LineNumber() const { return nLine; }
  const std::string& Path() const { return File.Path(); }
  /// Throws ExchangeFault at the line that came last.
  [[noreturn]] void Fail(std::string what, std::string remedy) const;

 private:
  TextReader File;
  int64_t nLine = 0;
};

/// Fields between delimiters; one in quotes may hold delimiters, and quotes as "". False where quotes stay
/// open, something stands behind closing ones, or there are more fields than kMostFields.
inline constexpr size_t kMostFields = 5000;
bool SplitFields(std::string_view line, char delimiter, std::vector<std::string>& fields);

/// The first fields of a line between blanks and tabs, `most` of them.
std::vector<std::string> BlankFields(std::string_view line, size_t most);

/// A field as messages show it.
std::string QuotedField(std::string_view text);

/// A whole text as a number; a comma is its decimal mark where `commas` says so. Nothing for anything else
/// and for what is not finite.
std::optional<double> NumberIn(std::string_view text, bool commas = false);

class DelimitedTable {
 public:
  /// Reads the headings, behind a line such as sep=; and lines that begin with #. The last of these are the
  /// headings where numbers come next. Throws ExchangeFault.
  explicit DelimitedTable(const std::string& path);

  const std::vector<std::string>& Headings() const { return Names; }
  /// The next line that is neither blank nor a remark without delimiters behind #, with as many fields as
  /// headings. Throws ExchangeFault.
  bool Next(std::vector<std::string>& fields);
  /// Numbers may have decimal commas: fields are not separated by them.
  bool TakesCommas() const { return cDelimiter != ','; }
  const TextLines& Lines() const { return Text; }

 private:
  std::string ReadHeadings();
  bool NextLine(std::string& line);

  TextLines Text;
  char cDelimiter = ',';
  std::vector<std::string> Names;
  std::optional<std::string> Ahead;  ///< a line that was read to know whether the one before has headings
};

}  // namespace orvo::exchange
