#include "check/GcpCheck.h"

#include "base/Scan.h"
#include "block/ProjectText.h"
#include "check/PointLines.h"

namespace orvo {

std::vector<Finding> CheckGcp(const std::string& path, const std::vector<bool>& lost) {
  constexpr const char* kCount =
      "The first line holds the number of points alone, 0 where there is none. Lists of other programs have "
      "to be converted";
  StrictLines lines(path);
  std::string_view line, more;
  if (!lines.Next(line)) {
    lines.Refuse("the file is empty", kCount, true);
    return {*lines.Fault()};
  }
  FieldScanner fields(line);
  int32_t count = 0;
  fields.Int(count);
  if (!fields.NumbersAreWhole() || count < 0 || fields.Word(more)) {
    lines.Refuse(Quoted(line) + " is not the number of points", RemedyOfLine(line, kCount));
  }
  PointNotes told;
  if (!lines.Fault()) told = CheckPointLines(lines, count, lost);
  if (CutGcpCount(count, lines.FileBytes()) < count) {
    lines.Refuse("the file is too small for " + std::to_string(count) + " points", kCount);
  }
  if (lines.Fault()) return {*lines.Fault()};
  std::vector<Finding> notes;
  const auto note = [&](const NamedCount& points, const char* what, const char* remedy) {
    if (points.nCount > 0)
      notes.push_back(
          {Severity::Note, path, 0, -1, CountOf(points.nCount, "point", points.Names) + what, remedy});
  };
  note(told.OfTypeZero, ": of type 0, neither control nor check",
       "Control points have type 1, check points type 2");
  note(told.OnLostImage, ": with a measurement on an image that is left out, which does not count", "");
  if (const auto open = NoteOpenEnd(path); open && count > 0) notes.push_back(*open);
  return notes;
}

}  // namespace orvo
