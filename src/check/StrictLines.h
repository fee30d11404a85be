// Lines of a small text file with their numbers, and the first thing that is wrong with them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/TextReader.h"
#include "check/Finding.h"

namespace orvo {

class StrictLines {
 public:
  /// Opens the file; a failure shows in Fault.
  explicit StrictLines(const std::string& path);

  /// The next line; false at the end of the file, and behind the first fault. A line that the readers of a
  /// run would cut in pieces is a fault.
  bool Next(std::string_view& line);
  /// The next line that is not blank.
  bool NextFilled(std::string_view& line);
  /// The number of the line that came last, from 1.
  int64_t LineNumber() const { return nLine; }
  int64_t FileBytes() const { return File.Size(); }

  /// Keeps an error at the line that came last, or behind the last line with `atEnd`. The first one stands.
  void Refuse(std::string what, std::string remedy, bool atEnd = false, const char* code = "");
  const std::optional<Finding>& Fault() const { return First; }
  Finding Note(std::string what, std::string remedy = {}) const;

 private:
  TextReader File;
  std::string szPath;
  int64_t nLine = 0;
  std::optional<Finding> First;
};

/// Without white space at both ends.
std::string_view Trimmed(std::string_view text);
/// The first fields of a line for a message, in quotes, cut to a readable length.
std::string Quoted(std::string_view line);
/// Why the numbers of a line can't be read, as far as its characters tell; else `otherwise`.
std::string RemedyOfLine(std::string_view line, const char* otherwise);
/// A note where the file's last line has no end, which is how files end that were cut off.
std::optional<Finding> NoteOpenEnd(const std::string& path);

}  // namespace orvo
