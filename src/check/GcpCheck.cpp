#include "check/GcpCheck.h"

#include "block/Scan.h"
#include "check/PointLines.h"

namespace orvo {

std::vector<Finding> CheckGcp(const std::string& path, int64_t imageNum) {
  constexpr const char* kCount =
      "The first line holds the number of points alone, 0 where there is none. Lists of other programs have "
      "to be "
      "converted";
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
  NamedCount typeless;
  if (!lines.Fault()) typeless = CheckPointLines(lines, count, imageNum);
  if (lines.Fault()) return {*lines.Fault()};
  std::vector<Finding> notes;
  if (typeless.nCount > 0) {
    notes.push_back(
        {Severity::Note, path, 0, -1,
         CountOf(typeless.nCount, "point", typeless.Names) + ": of type 0, neither control nor check",
         "Control points have type 1, check points type 2"});
  }
  if (const auto open = NoteOpenEnd(path); open && count > 0) notes.push_back(*open);
  return notes;
}

}  // namespace orvo
