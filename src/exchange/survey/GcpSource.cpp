#include "exchange/survey/GcpSource.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "base/PrintableName.h"
#include "check/StrictLines.h"
#include "exchange/ExchangeFault.h"
#include "exchange/survey/ExifValues.h"

namespace orvo::exchange {
namespace {

using W = CoordinateWords;

constexpr KnownHeading kHeadings[] = {
    {"name", Column::Name},
    {"id", Column::Name, W::Neutral, 1},
    {"label", Column::Name},
    {"point", Column::Name},
    {"pointid", Column::Name},
    {"pointname", Column::Name},
    {"gcp", Column::Name},
    {"gcpname", Column::Name},
    {"gcpid", Column::Name},
    {"marker", Column::Name},
    {"markername", Column::Name},
    {"x", Column::East},
    {"geox", Column::East},
    {"e", Column::East, W::Map},
    {"east", Column::East, W::Map},
    {"easting", Column::East, W::Map},
    {"lon", Column::East, W::Degrees},
    {"long", Column::East, W::Degrees},
    {"longitude", Column::East, W::Degrees},
    {"y", Column::North},
    {"geoy", Column::North},
    {"n", Column::North, W::Map},
    {"north", Column::North, W::Map},
    {"northing", Column::North, W::Map},
    {"lat", Column::North, W::Degrees},
    {"latitude", Column::North, W::Degrees},
    {"z", Column::Height},
    {"h", Column::Height},
    {"geoz", Column::Height},
    {"height", Column::Height},
    {"elevation", Column::Height},
    {"elev", Column::Height},
    {"alt", Column::Height},
    {"altitude", Column::Height},
    {"role", Column::Role},
    {"type", Column::Role},
    {"use", Column::Role},
    {"sx", Column::SigmaEast},
    {"se", Column::SigmaEast},
    {"sigmax", Column::SigmaEast},
    {"stdx", Column::SigmaEast},
    {"accuracyx", Column::SigmaEast},
    {"sy", Column::SigmaNorth},
    {"sn", Column::SigmaNorth},
    {"sigmay", Column::SigmaNorth},
    {"stdy", Column::SigmaNorth},
    {"accuracyy", Column::SigmaNorth},
    {"sz", Column::SigmaHeight},
    {"sh", Column::SigmaHeight},
    {"sigmaz", Column::SigmaHeight},
    {"stdz", Column::SigmaHeight},
    {"accuracyz", Column::SigmaHeight},
    {"image", Column::Image},
    {"imagename", Column::Image},
    {"photo", Column::Image},
    {"filename", Column::Image},
    {"file", Column::Image},
    {"px", Column::PixelX},
    {"imx", Column::PixelX},
    {"pixelx", Column::PixelX},
    {"imagex", Column::PixelX},
    {"col", Column::PixelX},
    {"column", Column::PixelX},
    {"u", Column::PixelX},
    {"py", Column::PixelY},
    {"imy", Column::PixelY},
    {"pixely", Column::PixelY},
    {"imagey", Column::PixelY},
    {"row", Column::PixelY},
    {"v", Column::PixelY},
};

/// Above it a file is something else than a list of control points.
constexpr size_t kMostPoints = 100000;

/// Points by their names, in the order in which they come first.
class PointCollector {
 public:
  explicit PointCollector(GcpSource& source) : Source(source) {}

  SourcePoint* Find(const std::string& name) {
    const auto place = Places.find(name);
    return place == Places.end() ? nullptr : &Source.Points[place->second];
  }
  SourcePoint& Add(SourcePoint point, const TextLines& lines) {
    if (Source.Points.size() == kMostPoints)
      lines.Fail("there are more than " + std::to_string(kMostPoints) + " control points",
                 "Give a table of control points");
    Places.emplace(point.szName, Source.Points.size());
    return Source.Points.emplace_back(std::move(point));
  }

 private:
  GcpSource& Source;
  std::unordered_map<std::string, size_t> Places;
};

/// A table with headings.
class TableReader {
 public:
  explicit TableReader(const std::string& path)
      : Table(path), Places(PlaceColumns(Table, kHeadings)), Collector(Source) {}

  GcpSource Read() {
    CheckColumns();
    Source.Ignored = Places.Unknown;
    Source.Words = Places.Words;
    Source.Units = UnitsOf(Places);
    Source.bHeights = Places.Has(Column::Height);
    while (Table.Next(Fields)) ReadLine();
    if (Source.Points.empty()) Fail("there is no point behind the headings", "Each line holds a point");
    return std::move(Source);
  }

 private:
  [[noreturn]] void Fail(std::string what, std::string remedy) const {
    Table.Lines().Fail(std::move(what), std::move(remedy));
  }
  const std::string& In(Column column) const { return Places.In(Fields, column); }

  void CheckColumns() const {
    const struct {
      Column column;
      const char* name;
    } needed[] = {
        {Column::Name, "name"}, {Column::East, "x (easting, lon)"}, {Column::North, "y (northing, lat)"}};
    for (const auto& [column, name] : needed) {
      if (!Places.Has(column))
        Fail(std::string("there is no column ") + name, "Name the columns in the first line: name,x,y,z");
    }
    const int marks = (Places.Has(Column::Image) ? 1 : 0) + (Places.Has(Column::PixelX) ? 1 : 0) +
                      (Places.Has(Column::PixelY) ? 1 : 0);
    if (marks != 0 && marks != 3)
      Fail("measurements need three columns, and there are not all of them", "Name them image, px and py");
  }

  double Number(Column column, const char* what) const {
    return Needed(NumberIn(In(column), Table.TakesCommas()), column, what);
  }

  double Coordinate(Column column) const {
    const bool degrees = Places.Words == W::Degrees && Places.FactorOf(column) == 1;
    return degrees ? Needed(DegreesIn(In(column), {}, Table.TakesCommas()), column, "coordinate")
                   : Number(column, "coordinate");
  }

  double Height() {
    const std::string& text = In(Column::Height);
    const auto number = NumberIn(text, Table.TakesCommas());
    if (number || Places.FactorOf(Column::Height) != 1) return Needed(number, Column::Height, "height");
    const double metres = Needed(MetresIn(text, {}, Table.TakesCommas()), Column::Height, "height");
    Source.Units.Height = HeadingUnit();
    return metres;
  }

  double Needed(std::optional<double> value, Column column, const char* what) const {
    if (value) return *value;
    const std::string& text = In(column);
    Fail(QuotedField(text) + " is no " + what, text.find(',') != std::string::npos
                                                   ? "Write numbers with a decimal point"
                                                   : "It is a finite number with nothing behind it");
  }

  std::optional<bool> RoleIn() const {
    const std::string role = PlainHeading(In(Column::Role));
    if (role.empty()) return std::nullopt;
    if (role == "check" || role == "checkpoint" || role == "cp" || role == "2") return true;
    if (role == "control" || role == "controlpoint" || role == "gcp" || role == "1" || role == "3d")
      return false;
    Fail(Quoted(In(Column::Role)) + " is no role of a point", "Roles are control and check");
  }

  std::optional<double> SigmaIn(Column column) const {
    if (In(column).empty()) return std::nullopt;
    const double sigma = Number(column, "standard deviation") * Places.FactorOf(column);
    if (!(sigma >= 0 && std::isfinite(sigma)))
      Fail(QuotedField(In(column)) + " is no standard deviation", "It is 0 or above");
    return sigma;
  }

  SourcePoint PointIn() {
    SourcePoint point;
    point.szName = In(Column::Name);
    point.nLine = Table.Lines().LineNumber();
    point.P = {Coordinate(Column::East), Coordinate(Column::North), Source.bHeights ? Height() : 0};
    point.Check = RoleIn();
    point.Sigma = {SigmaIn(Column::SigmaEast), SigmaIn(Column::SigmaNorth), SigmaIn(Column::SigmaHeight)};
    return point;
  }

  void ReadLine() {
    if (In(Column::Name).empty()) Fail("the point has no name", "Give it one");
    SourcePoint* point = Collector.Find(In(Column::Name));
    const bool bare = In(Column::East).empty() && In(Column::North).empty();
    if (point == nullptr) {
      point = &Collector.Add(PointIn(), Table.Lines());
    } else if (!bare) {
      const SourcePoint again = PointIn();
      const bool otherRole = again.Check && point->Check && *again.Check != *point->Check;
      if (again.P != point->P || otherRole) {
        Fail("the point " + PrintableName(point->szName) +
                 " has other coordinates or another role than in line " + std::to_string(point->nLine),
             "Give the two points names of their own, or correct them");
      }
    }
    if (In(Column::Image).empty()) return;
    point->Marks.push_back({In(Column::Image), Number(Column::PixelX, "pixel coordinate"),
                            Number(Column::PixelY, "pixel coordinate"), Table.Lines().LineNumber()});
  }

  DelimitedTable Table;
  ColumnPlaces Places;
  GcpSource Source;
  PointCollector Collector;
  std::vector<std::string> Fields;
};

/// A list behind the line of its coordinate system.
GcpSource ReadList(TextLines& lines, std::string crs) {
  GcpSource source;
  source.szCrs = std::move(crs);
  source.dFirstPixel = 0;
  PointCollector collector(source);
  std::unordered_map<std::string, std::string> names;  // of points without, by their coordinates
  for (std::string line; lines.NextFilled(line);) {
    const std::vector<std::string> fields = BlankFields(line, 7);
    if (fields[0][0] == '#') continue;
    std::array<double, 5> numbers{};
    for (size_t i = 0; i < 5; ++i) {
      const auto number = fields.size() >= 6 ? NumberIn(fields[i]) : std::nullopt;
      if (!number)
        lines.Fail(Quoted(line) + " is no line of a list of control points",
                   "It holds X Y Z, the pixel x y, the image and the name of the point, by blanks");
      numbers[i] = *number;
    }
    SourcePoint point;
    point.P = {numbers[0], numbers[1], numbers[2]};
    point.nLine = lines.LineNumber();
    const std::string place = fields[0] + " " + fields[1] + " " + fields[2];
    point.szName = fields.size() >= 7
                       ? fields[6]
                       : names.emplace(place, "GCP" + std::to_string(names.size() + 1)).first->second;
    SourcePoint* known = collector.Find(point.szName);
    if (known != nullptr && known->P != point.P) {
      lines.Fail("the point " + PrintableName(point.szName) + " has other coordinates than in line " +
                     std::to_string(known->nLine),
                 "Give the two points names of their own, or correct them");
    }
    if (known == nullptr) known = &collector.Add(std::move(point), lines);
    known->Marks.push_back({fields[5], numbers[3], numbers[4], lines.LineNumber()});
  }
  if (source.Points.empty()) lines.Fail("the list holds no point", "Each line holds a measurement");
  return source;
}

}  // namespace

std::optional<std::string> SystemOfLine(const std::string& line) {
  const std::string text(Trimmed(line));
  if (text.starts_with("EPSG:") || text.starts_with("epsg:") || text.starts_with("+proj="))
    return text.starts_with("epsg:") ? "EPSG:" + text.substr(5) : text;
  if (text == "WGS84") return "EPSG:4326";
  const std::vector<std::string> words = BlankFields(text, 4);
  if (words.size() != 3 || words[0] != "WGS84" || words[1] != "UTM" || words[2].empty()) return std::nullopt;
  const char half = words[2].back();
  const auto zone = NumberIn(words[2].substr(0, words[2].size() - 1));
  if (!zone || *zone < 1 || *zone > 60 || (half != 'N' && half != 'S')) return std::nullopt;
  return "EPSG:" + std::to_string((half == 'N' ? 32600 : 32700) + static_cast<int>(*zone));
}

GcpSource ReadGcpSource(const std::string& path) {
  TextLines lines(path);
  std::string first;
  if (!lines.NextFilled(first)) Refuse(path, 1, "the file is empty", "Give a table of control points");
  if (auto crs = SystemOfLine(first)) return ReadList(lines, std::move(*crs));
  return TableReader(path).Read();
}

}  // namespace orvo::exchange
