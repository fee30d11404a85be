#include "check/reading/PointReading.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>
#include <vector>

#include "base/Scan.h"
#include "block/ProjectText.h"
#include "check/StrictLines.h"
#include "check/reading/PlainPoints.h"

namespace orvo {
namespace {

using enum FieldKind;

constexpr FieldSpec kPointFields[] = {{Word, "the name of the point"},
                                      {Real, "X"},
                                      {Real, "Y"},
                                      {Real, "Z"},
                                      {Integer, "the type of the point"}};
constexpr FieldSpec kMeasureFields[] = {{Integer, "the image ordinal"}, {Real, "x"}, {Real, "y"}};
constexpr FieldSpec kCountField[] = {{Integer, "the number of measurements"}};
constexpr size_t kLongestName = sizeof(SurveyPoint::szName) - 1;

bool CanBe(std::string_view line, std::span<const FieldSpec> specs) {
  return LookAtFields(line, specs, specs.size()).bUsable;
}
bool CanBePoint(std::string_view line) { return CanBe(line, kPointFields); }
bool CanBeMeasure(std::string_view line) { return !CanBePoint(line) && CanBe(line, kMeasureFields); }
bool CanBeCount(std::string_view line) {
  FieldScanner fields(line);
  std::string_view more;
  int32_t count = 0;
  return fields.Int(count) && fields.NumbersAreWhole() && count >= 0 && !fields.Word(more);
}

class PointReader {
 public:
  PointReader(SurveyText& text, int64_t pointNum, OrdinalCheck& ordinals, SurveyPoints& points)
      : Text(text), nPointNum(pointNum), Ordinals(ordinals), Points(points), nFirstByte(text.BytesRead()) {
    // No point takes fewer than 12 bytes. What is not used of the room takes no memory.
    Points.Points.reserve(static_cast<size_t>(std::min(pointNum, BytesLeft() / 12 + 1)));
  }

  /// False where the file ends before its counts.
  bool Read() {
    while (nRead < nPointNum || !bInStep) {
      if (!ReadPoint()) return !bEnded;
      ++nRead;
    }
    return true;
  }
  bool InStep() const { return bInStep; }

 private:
  /// What a measurement line does to the reading of its point.
  enum class Effect { Taken, PassedOver, PointEnds };

  int64_t BytesLeft() const { return Text.FileBytes() - Text.BytesRead(); }
  bool ReadPoint();
  bool NextPointLine(std::string_view& line, int64_t& number);
  bool IsCountOfPoint(std::string_view line, SurveyPoint& point);
  bool TakePoint(std::string_view line, SurveyPoint& point);
  int32_t TakeCount(std::string_view line, const SurveyPoint& point);
  bool ReadMeasures(SurveyPoint& point, int32_t count);
  Effect TakeBrokenMeasure(std::string_view line, const SurveyPoint& point, const std::string& place);
  void Push(const SurveyMeasurement& measure, std::string_view line, const SurveyPoint& point);
  bool TakeUntold(std::string_view line, SurveyMeasurement& measure);
  void MakeRoom();
  void FindNextPoint();
  bool EndInLine() {
    bEnded = true;
    Text.TellCut();
    return false;
  }
  /// False where nothing more is to be read.
  bool End(std::string what) {
    bEnded = bInStep;
    if (bInStep) Text.TellEnd(std::move(what));
    return false;
  }

  static std::string Place(int64_t i, int64_t count) {
    return std::to_string(i + 1) + " of " + std::to_string(count);
  }
  static std::string NameOf(const SurveyPoint& point) { return Quoted(point.szName.data()); }

  static constexpr int32_t kUnknownCount = -1;

  SurveyText& Text;
  int64_t nPointNum;
  OrdinalCheck& Ordinals;
  SurveyPoints& Points;
  int64_t nFirstByte;
  int64_t nRead = 0;
  bool bInStep = true;  ///< every line so far was the one that the counts say
  bool bEnded = false;  ///< the file ended before its counts
  std::string szLine, szPointed;
  std::string szNextPoint;     ///< line of the next point, where it was read already
  int64_t nNextPointLine = 0;  ///< its number
};

bool PointReader::ReadPoint() {
  std::string_view line;
  SurveyPoint point;
  if (!NextPointLine(line, point.nPlace)) return false;
  const bool usable = !IsCountOfPoint(line, point) && TakePoint(line, point);
  if (!Text.NextMeant(line)) return End("the file ends in point " + NameOf(point));
  const int32_t count = TakeCount(line, point);
  point.nFirstMeasurement = std::ssize(Points.Measurements);
  const bool whole = ReadMeasures(point, count);
  if (!usable) Points.Measurements.resize(static_cast<size_t>(point.nFirstMeasurement));
  point.nMeasurementNum = static_cast<int32_t>(std::ssize(Points.Measurements) - point.nFirstMeasurement);
  if (usable) Points.Points.push_back(point);
  return whole;
}

bool PointReader::NextPointLine(std::string_view& line, int64_t& number) {
  if (!szNextPoint.empty()) {
    szLine = std::exchange(szNextPoint, {});
    line = szLine;
    number = nNextPointLine;
    return true;
  }
  bool told = false;
  while (Text.NextMeant(line)) {
    number = Text.LineNumber();
    if (!CanBeMeasure(line)) return true;
    if (Text.IsCutLine()) return EndInLine();
    if (!std::exchange(told, true))
      Text.Tell("S018", 1,
                Quoted(line) + " stands where the line of point " + Place(nRead, nPointNum) + " should",
                "Look for a doubled measurement, or correct the number of measurements before it");
  }
  return End("the file ends before point " + Place(nRead, nPointNum));
}

/// Whether the line of the point is missing, and that of its count stands there: told, and read again as
/// such.
bool PointReader::IsCountOfPoint(std::string_view line, SurveyPoint& point) {
  if (!CanBeCount(line) || Text.IsCutLine()) return false;
  point.szName = {'?'};
  Text.Tell("S018", 1,
            Quoted(line) + " stands where the line of point " + Place(nRead, nPointNum) + " should",
            "Look for a missing line before it");
  Text.Unread();
  return true;
}

bool PointReader::TakePoint(std::string_view line, SurveyPoint& point) {
  const auto take = [&](FieldScanner fields) {
    std::string_view name;
    const bool all = fields.Word(name) && fields.Real(point.P[0]) && fields.Real(point.P[1]) &&
                     fields.Real(point.P[2]) && fields.Int(point.nType);
    const size_t length = std::min(name.size(), kLongestName);
    std::copy_n(name.begin(), length, point.szName.begin());
    if (name.size() > kLongestName)
      Text.Tell(
          "S005", static_cast<int64_t>(line.find(name)) + 1,
          "the name of point " + Quoted(name) + " is longer than " + std::to_string(kLongestName) + " bytes",
          "It is cut there: shorten it");
    return all && fields.NumbersAreWhole();
  };
  bool usable = take(FieldScanner(line));
  if (!usable) {
    const LineFields looked = LookAtFields(line, kPointFields, std::size(kPointFields));
    Text.Tell(looked);
    usable = looked.bUsable && take(FieldScanner(looked.szRepaired));
  }
  if (usable && !(std::isfinite(point.P[0]) && std::isfinite(point.P[1]) && std::isfinite(point.P[2]))) {
    Text.Tell("S017", 1, "the coordinates of point " + NameOf(point) + " are not finite",
              "Write 0 for coordinates that are not known, and leave out control without them");
    return false;
  }
  if (usable && point.nType < 0)
    Text.Tell("S014", 1, "the type of point " + NameOf(point) + " is " + std::to_string(point.nType),
              "Tie points have type 0, control points 1, check points 2");
  return usable;
}

int32_t PointReader::TakeCount(std::string_view line, const SurveyPoint& point) {
  int32_t count = 0;
  if (CanBeCount(line)) {
    FieldScanner(line).Int(count);
    if (count <= kMostMeasures) return count;
    Text.Tell("S014", 1, "point " + NameOf(point) + " has " + std::to_string(count) + " measurements",
              "A point has at most " + std::to_string(kMostMeasures) + ": look at the line before it");
    return kUnknownCount;
  }
  const LineFields looked = LookAtFields(line, kCountField, 1);
  if (looked.nFieldNum == 1 && !looked.Faults.empty()) {
    Text.Tell(looked);
  } else {
    Text.Tell("S018", 1,
              Quoted(line) + " stands where the number of measurements of point " + NameOf(point) + " should",
              "That number stands alone in the line behind the point. Look for a missing line before it");
    if (looked.nFieldNum > 1) Text.Unread();
  }
  return kUnknownCount;
}

bool PointReader::ReadMeasures(SurveyPoint& point, int32_t count) {
  std::string_view line;
  for (int32_t m = 0; m < count || count == kUnknownCount;) {
    if (!Text.Next(line)) {
      if (count == kUnknownCount) return true;
      return End("the file ends before measurement " + Place(m, count) + " of point " + NameOf(point));
    }
    if (count == kUnknownCount && (CanBePoint(line) || !CanBeMeasure(line))) {
      Text.Unread();
      return true;
    }
    SurveyMeasurement measure;
    FieldScanner fields(line);
    if (fields.Int(measure.nImage) && fields.Real(measure.x) && fields.Real(measure.y) &&
        fields.NumbersAreWhole() && (Ordinals.Exists(measure.nImage) || !CanBePoint(line))) {
      Push(measure, line, point);
      ++m;
      continue;
    }
    if (Text.IsCutLine()) return EndInLine();
    switch (TakeBrokenMeasure(line, point, Place(m, count))) {
      case Effect::Taken:
        ++m;
        break;
      case Effect::PassedOver:
        break;
      case Effect::PointEnds:
        return true;
    }
  }
  return true;
}

PointReader::Effect PointReader::TakeBrokenMeasure(std::string_view line, const SurveyPoint& point,
                                                   const std::string& place) {
  if (SurveyMeasurement measure; TakeUntold(line, measure)) {
    Push(measure, line, point);
    return Effect::Taken;
  }
  if (Text.TellNotMeant(line)) return Effect::PassedOver;
  const std::string what =
      Quoted(line) + " stands where measurement " + place + " of point " + NameOf(point) + " should";
  constexpr const char* kRemedy = "Look for a missing line, or correct the number of measurements";
  if (CanBePoint(line)) {
    Text.Tell("S018", 1, what, kRemedy);
    Text.Unread();
    return Effect::PointEnds;
  }
  if (CanBeCount(line)) {
    // The line before it was that of a point with a number for its name.
    Text.Tell("S018", 1, what, kRemedy);
    if (std::ssize(Points.Measurements) > point.nFirstMeasurement) Points.Measurements.pop_back();
    FindNextPoint();
    return Effect::PointEnds;
  }
  const LineFields looked = LookAtFields(line, kMeasureFields, std::size(kMeasureFields));
  Text.Tell(looked);
  SurveyMeasurement measure;
  FieldScanner fields(looked.szRepaired);
  if (looked.bUsable && fields.Int(measure.nImage) && fields.Real(measure.x) && fields.Real(measure.y))
    Push(measure, line, point);
  return Effect::Taken;
}

/// A measurement with decimal commas, once no more of them are shown: a file may have nothing else.
bool PointReader::TakeUntold(std::string_view line, SurveyMeasurement& measure) {
  if (Text.Found().CountOf("S006") <= Diagnosis::kMostOfACode) return false;
  if (line.find(',') == std::string_view::npos || CountFields(line, 4) != 3) return false;
  szPointed = line;
  std::ranges::replace(szPointed, ',', '.');
  FieldScanner fields(szPointed);
  if (!fields.Int(measure.nImage) || !fields.Real(measure.x) || !fields.Real(measure.y)) return false;
  if (!fields.NumbersAreWhole() || !Ordinals.Exists(measure.nImage)) return false;
  Text.Tell("S006", 1, {}, {});
  return true;
}

void PointReader::Push(const SurveyMeasurement& measure, std::string_view line, const SurveyPoint& point) {
  const auto tell = [&](const char* code, OrdinalFault fault) {
    const auto column = static_cast<int64_t>(Trimmed(line).data() - line.data()) + 1;
    Text.Tell(code, column, std::move(fault.szWhat), std::move(fault.szRemedy));
  };
  if (!std::isfinite(measure.x) || !std::isfinite(measure.y)) {
    Text.Tell("S017", 1, "the measurement " + Quoted(line) + " is not finite",
              "Leave it out where the file is made");
    return;
  }
  if (!Ordinals.Exists(measure.nImage)) return tell("R001", Ordinals.Missing(measure.nImage));
  if (Ordinals.IsSecond(measure.nImage, nRead))
    tell("R012", Ordinals.Second(measure.nImage, point.szName.data()));
  if (Points.Measurements.size() == Points.Measurements.capacity()) MakeRoom();
  Points.Measurements.push_back(measure);
}

/// Room for all that follow, as long as those before them were.
void PointReader::MakeRoom() {
  constexpr size_t kFirst = 4096;
  const size_t have = Points.Measurements.size();
  if (have < kFirst) {
    Points.Measurements.reserve(kFirst);
    return;
  }
  const int64_t used =
      std::max<int64_t>((Text.BytesRead() - nFirstByte) / std::ssize(Points.Measurements), 6);
  Points.Measurements.reserve(have + have / 16 +
                              static_cast<size_t>(std::max<int64_t>(BytesLeft(), 0) / used) + 16);
}

/// Looks for a line that can be a point's, with one behind it that can be its count.
void PointReader::FindNextPoint() {
  bInStep = false;
  std::string_view line;
  szNextPoint.clear();
  while (Text.Next(line)) {
    if (!szNextPoint.empty() && CanBeCount(line)) {
      Text.Unread();
      return;
    }
    szNextPoint.clear();
    if (!CanBePoint(line)) continue;
    szNextPoint = line;
    nNextPointLine = Text.LineNumber();
  }
  szNextPoint.clear();
}

}  // namespace

bool ReadSurveyPoints(SurveyText& text, int64_t pointNum, OrdinalCheck& ordinals, SurveyPoints& points) {
  PointsPlace place{text.BytesRead(), text.LineNumber()};
  if (!text.Waits() && ReadPlainPoints(text.Path(), pointNum, ordinals.ImageNum(), place, points)) {
    text.GoTo(place.nByte, place.nLine);
    text.TellRest({}, {}, true);
    return !text.TellFailure();
  }
  PointReader reader(text, pointNum, ordinals, points);
  const bool whole = reader.Read();
  if (whole)
    text.TellRest(" stands behind the last of " + std::to_string(pointNum) + " points",
                  "Look for a doubled line, or correct the number of points in the first line",
                  reader.InStep());
  return whole && !text.TellFailure();
}

}  // namespace orvo
