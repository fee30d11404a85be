#include "check/PointLines.h"

#include "base/Scan.h"
#include "block/ProjectText.h"
#include "check/ProjectHead.h"

namespace orvo {
namespace {

constexpr const char* kCounts = "Look for a missing line, or correct the count";

std::string Place(int64_t i, int64_t count) { return std::to_string(i + 1) + " of " + std::to_string(count); }

/// The number of measurements of a point; -1 behind a fault.
int32_t CheckCountLine(StrictLines& lines, const std::string& name) {
  std::string_view line, more;
  if (!lines.Next(line)) {
    lines.Refuse("the file ends in the point " + name, kCounts, true);
    return -1;
  }
  FieldScanner fields(line);
  int32_t count = 0;
  fields.Int(count);
  if (fields.NumbersAreWhole() && count >= 0 && !fields.Word(more)) return count;
  lines.Refuse(
      Quoted(line) + " is not the number of measurements of the point " + name,
      RemedyOfLine(line,
                   "That number stands alone in the line behind the point. Look for a missing or doubled "
                   "line before it"));
  return -1;
}

/// True where the measurement is on a lost image.
bool CheckMeasureLine(StrictLines& lines, const std::string& name, const std::string& place,
                      const std::vector<bool>& lost) {
  std::string_view line;
  if (!lines.Next(line)) {
    lines.Refuse("the file ends before measurement " + place + " of the point " + name, kCounts, true);
    return false;
  }
  MeasureLine measure;
  ParseMeasure(line, measure);
  if (!measure.bWhole) {
    lines.Refuse(
        Quoted(line) + " is not measurement " + place + " of the point " + name,
        RemedyOfLine(line,
                     "It holds the image ordinal, x and y. Look for a missing line, or correct the count "
                     "of measurements"));
  } else if (measure.nImageOrdinal < 0 || measure.nImageOrdinal >= std::ssize(lost)) {
    lines.Refuse("there is no image " + std::to_string(measure.nImageOrdinal),
                 "Images are referred to by their place in the project, from 0 to " +
                     std::to_string(std::ssize(lost) - 1) +
                     ". Look for a missing or doubled line before it, too");
  } else {
    return lost[static_cast<size_t>(measure.nImageOrdinal)];
  }
  return false;
}

void CheckPoint(StrictLines& lines, const std::string& place, const std::vector<bool>& lost,
                PointNotes& notes) {
  std::string_view line;
  if (!lines.Next(line)) {
    lines.Refuse("the file ends before point " + place, kCounts, true);
    return;
  }
  bool whole = false;
  const ObjectPointRecord point = ParsePointLine(line, whole);
  if (!whole) {
    lines.Refuse(
        Quoted(line) + " is not the line of point " + place,
        RemedyOfLine(line,
                     "It holds a name without blanks, X, Y, Z and the type. Look for a missing or doubled "
                     "line before it, too"));
    return;
  }
  const std::string name = point.szName;
  if (point.nType == 0) notes.OfTypeZero.Add(point.szName);
  const int32_t count = CheckCountLine(lines, name);
  bool onLost = false;
  for (int32_t m = 0; m < count && !lines.Fault(); ++m)
    onLost |= CheckMeasureLine(lines, name, Place(m, count), lost);
  if (onLost) notes.OnLostImage.Add(name.c_str());
}

}  // namespace

PointNotes CheckPointLines(StrictLines& lines, int64_t pointNum, const std::vector<bool>& lost) {
  PointNotes notes;
  for (int64_t i = 0; i < pointNum && !lines.Fault(); ++i) CheckPoint(lines, Place(i, pointNum), lost, notes);
  std::string_view line;
  if (!lines.Fault() && lines.NextFilled(line)) {
    lines.Refuse(Quoted(line) + " stands behind the last of " + std::to_string(pointNum) + " points",
                 "Look for a doubled line, or correct the number of points in the first line");
  }
  return notes;
}

std::optional<Finding> FindFaultOfTextProject(const std::string& path) {
  StrictLines lines(path);
  const ProjectHead head = ReadProjectHead(lines, true);
  if (!lines.Fault()) CheckPointLines(lines, head.nPointNum, LostImages(head));
  return lines.Fault();
}

}  // namespace orvo
