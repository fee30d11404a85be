// A text file of a survey block line by line, with what is wrong with each.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/TextReader.h"
#include "check/Diagnosis.h"
#include "check/reading/LineFields.h"

namespace orvo {

/// What can't be of one line, for it is kept until the next line is there: the last line of a file that was
/// cut off has no fault of its own.
class SurveyText {
 public:
  /// Opens the file and looks at its first bytes; what keeps it from being read goes into the diagnosis.
  SurveyText(const std::string& path, Diagnosis& diagnosis);
  /// Makes one finding of a fault that most lines have: the comma in numbers or between fields.
  ~SurveyText();
  SurveyText(const SurveyText&) = delete;
  SurveyText& operator=(const SurveyText&) = delete;

  bool IsReadable() const { return bReadable; }
  /// The next line, of which no more than 510 characters; false at the end of the file.
  bool Next(std::string_view& line);
  /// The next line that is neither blank nor a comment; those are told.
  bool NextMeant(std::string_view& line);
  static bool IsComment(std::string_view line);
  /// True for a line that is blank or a comment, which it tells.
  bool TellNotMeant(std::string_view line);
  /// Up to `count` lines behind the one that came last, which Next hands out nevertheless.
  std::vector<std::string> Following(size_t count) const;
  /// Next hands the line that came last out again, once.
  void Unread() { bAgain = true; }
  /// Goes on behind line `line`, which ends before the byte `offset`.
  void GoTo(int64_t offset, int64_t line);
  /// From 1.
  int64_t LineNumber() const { return nLine; }
  int64_t FileBytes() const { return File.Size(); }
  /// Bytes up to the end of the line that came last.
  int64_t BytesRead() const { return File.Tell(); }
  const std::string& Path() const { return File.Path(); }

  /// A finding at the line that came last, unless that line is broken as a whole.
  void Tell(const char* code, int64_t column, std::string what, std::string remedy);
  /// Something is told of the line that came last, and waits for the next one.
  bool Waits() const { return !vHeld.empty(); }
  /// Tells what LookAtFields found.
  void Tell(const LineFields& looked);
  /// The line that came last is the last one of the file and has no end: it may be cut off.
  bool IsCutLine() const;
  /// Tells that the file ends in that line.
  void TellCut() { TellEnd("the file ends in the middle of a line"); }
  /// The file ends too early: what its last line has is put down to that.
  void TellEnd(std::string what);
  /// Tells what follows where the file should have ended, and TellOpenEnd. `inStep`: it is known where that
  /// is.
  void TellRest(const std::string& behind, const std::string& remedy, bool inStep);
  /// Tells whether the last line has an end; where it has none, it may be cut off.
  void TellOpenEnd();
  /// The file can't be read on: tells so.
  bool TellFailure();
  FindingPlace Here(int64_t column = 0) const;
  Diagnosis& Found() { return Result; }

 private:
  void LookAtStart();
  void LookAtLine(std::string_view& line);
  void Release();
  void Count(const char* code, const std::string& remedy);

  struct Held {
    const char* szCode;
    FindingPlace Place;
    std::string szWhat, szRemedy;
  };
  TextReader File;
  Diagnosis& Result;
  bool bReadable = false;
  bool bAgain = false;
  bool bBrokenLine = false;  ///< the line that came last has been told as a whole
  int64_t nLine = 0;
  std::string_view Line;
  std::string szLongLine;
  std::vector<Held> vHeld;
  int64_t nCommas = 0, nShort = 0;  ///< S006, S009
  bool bAllSeparated = true;        ///< every line of the latter has commas or semicolons
};

}  // namespace orvo
