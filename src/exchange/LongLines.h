// Lines of any length, and their fields, read strictly.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/InputFile.h"

namespace orvo::exchange {

/// The fields of a line, separated by blanks and tabs. A field that is not wholly what is asked for, or is
/// not finite, stays where it is.
class StrictFields {
 public:
  explicit StrictFields(std::string_view line) : szRest(line) {}

  bool Real(double& value);
  bool Int(int64_t& value);
  bool Word(std::string_view& word);
  /// What is left, without white space at its ends.
  std::string_view Rest();
  /// Nothing but white space is left.
  bool AtEnd();
  /// The next field in quotes, cut to a readable length, for a message; "the end of the line" behind the
  /// last.
  std::string Shown();

 private:
  std::string_view Peek();
  void Pass(std::string_view word);
  std::string_view szRest;
};

/// A text file line by line. A line takes memory as it is long; CR LF is a line end, too, and a byte order
/// mark is passed over. Throws ExchangeFault where the file can't be read.
class LongLines {
 public:
  explicit LongLines(const std::string& path);

  bool Next(std::string_view& line);
  /// The next line that neither is blank nor begins with `comment`.
  bool NextMeant(std::string_view& line, char comment = '#');
  /// Of the line that came last, from 1.
  int64_t LineNumber() const { return nLine; }
  int64_t Size() const { return File.Size(); }
  int64_t BytesRead() const { return nOffset - static_cast<int64_t>(Buffer.size() - nBegin); }
  const std::string& Path() const { return File.Path(); }
  void Rewind();

  /// Throws an ExchangeFault at the line that came last.
  [[noreturn]] void Refuse(std::string what, std::string remedy) const;

 private:
  bool Fill();

  InputFile File;
  std::string Buffer;
  size_t nBegin = 0;
  int64_t nOffset = 0;  ///< in the file, behind the buffer
  int64_t nLine = 0;
};

}  // namespace orvo::exchange
