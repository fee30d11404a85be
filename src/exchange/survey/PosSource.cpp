#include "exchange/survey/PosSource.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "base/PrintableName.h"
#include "check/StrictLines.h"
#include "exchange/ExchangeFault.h"
#include "exchange/survey/ExifValues.h"
#include "exchange/survey/GcpSource.h"

namespace orvo::exchange {
namespace {

using W = CoordinateWords;

constexpr KnownHeading kHeadings[] = {
    {"image", Column::Name},
    {"imagename", Column::Name},
    {"name", Column::Name, W::Neutral, 2},
    {"photo", Column::Name},
    {"label", Column::Name, W::Neutral, 2},
    {"filename", Column::Name, W::Neutral, 1},
    {"file", Column::Name, W::Neutral, 1},
    {"sourcefile", Column::Name},
    {"id", Column::Name, W::Neutral, 3},
    {"x", Column::East, W::Neutral, 1},
    {"geox", Column::East, W::Neutral, 1},
    {"e", Column::East, W::Map},
    {"east", Column::East, W::Map},
    {"easting", Column::East, W::Map},
    {"lon", Column::East, W::Degrees},
    {"long", Column::East, W::Degrees},
    {"longitude", Column::East, W::Degrees},
    {"gpslongitude", Column::East, W::Degrees},
    {"y", Column::North, W::Neutral, 1},
    {"geoy", Column::North, W::Neutral, 1},
    {"n", Column::North, W::Map},
    {"north", Column::North, W::Map},
    {"northing", Column::North, W::Map},
    {"lat", Column::North, W::Degrees},
    {"latitude", Column::North, W::Degrees},
    {"gpslatitude", Column::North, W::Degrees},
    {"z", Column::Height},
    {"h", Column::Height},
    {"geoz", Column::Height},
    {"height", Column::Height},
    {"elevation", Column::Height},
    {"alt", Column::Height},
    {"altitude", Column::Height},
    {"gpsaltitude", Column::Height},
    {"gpsposition", Column::Place, W::Degrees},
    {"gpslongituderef", Column::EastSign},
    {"gpslatituderef", Column::NorthSign},
    {"gpsaltituderef", Column::HeightSign},
    {"omega", Column::Omega},
    {"phi", Column::Phi},
    {"kappa", Column::Kappa},
    {"yaw", Column::Yaw},
    {"heading", Column::Yaw},
    {"pitch", Column::Pitch},
    {"roll", Column::Roll},
    {"gimbalyawdegree", Column::GimbalYaw},
    {"gimbalpitchdegree", Column::GimbalPitch},
    {"gimbalrolldegree", Column::GimbalRoll},
    {"flightyawdegree", Column::FlightYaw},
    {"flightpitchdegree", Column::FlightPitch},
    {"flightrolldegree", Column::FlightRoll},
    {"strip", Column::Strip},
    {"flightline", Column::Strip},
    {"stripid", Column::Strip},
    {"datetime", Column::DateTime, W::Neutral, 2},
    {"timestamp", Column::DateTime, W::Neutral, 2},
    {"subsecdatetimeoriginal", Column::DateTime},
    {"datetimeoriginal", Column::DateTime, W::Neutral, 1},
    {"gpsdatetime", Column::DateTime, W::Neutral, 3},
    {"gpsdatestamp", Column::Date},
    {"gpstimestamp", Column::Time},
    {"date", Column::Date, W::Neutral, 1},
    {"time", Column::Time, W::Neutral, 1},
};

/// Of a table of control points.
constexpr std::string_view kPixelHeadings[] = {"px",     "py",     "imx",    "imy", "pixelx",
                                               "pixely", "imagex", "imagey", "role"};

using Triple = std::array<Column, 3>;

struct AngleColumns {
  AngleWords Words;
  Triple Columns;
};

/// Of several that will do the first: the camera's own angles before those of what carries it.
constexpr AngleColumns kAngles[] = {
    {AngleWords::OmegaPhiKappa, {Column::Omega, Column::Phi, Column::Kappa}},
    {AngleWords::YawPitchRoll, {Column::Yaw, Column::Pitch, Column::Roll}},
    {AngleWords::Gimbal, {Column::GimbalYaw, Column::GimbalPitch, Column::GimbalRoll}},
    {AngleWords::Flight, {Column::FlightYaw, Column::FlightPitch, Column::FlightRoll}},
};

bool IsNothing(std::string_view text) {
  text = Trimmed(text);
  return text.empty() || text == "-" || text == "n/a";
}

/// Above it a file is something else than a list of images.
constexpr size_t kMostImages = 150000;

void Keep(PosSource& source, SourcePose pose, const TextLines& lines) {
  if (source.Poses.size() == kMostImages)
    lines.Fail("there are more than " + std::to_string(kMostImages) + " images", "Give a table of images");
  source.Poses.push_back(std::move(pose));
}

class TableReader {
 public:
  TableReader(const std::string& path, std::optional<AngleSystem> system)
      : Table(path), Places(PlaceColumns(Table, kHeadings)), System(system) {}

  PosSource Read() {
    bInOne = Places.Has(Column::Place) && !(Places.Has(Column::East) && Places.Has(Column::North));
    for (const Column column : {Column::Name, Column::East, Column::North}) {
      if (!Places.Has(column) && !(bInOne && column != Column::Name))
        Fail("the headings have no " + std::string(column == Column::Name   ? "image"
                                                   : column == Column::East ? "x (easting, lon)"
                                                                            : "y (northing, lat)"),
             "Name the columns in the first line: image,x,y,z");
    }
    RefusePixels();
    if (bInOne) Places.Words = W::Degrees;
    Source.Words = Places.Words;
    Source.bHeights = Places.Has(Column::Height);
    Source.Units = UnitsOf(Places);
    // What a camera writes is WGS 84.
    if (bInOne || PlainHeading(Places.szEast) == "gpslongitude") Source.szCrs = "EPSG:4326";
    FindAngles();
    while (Table.Next(Fields)) ReadLine();
    if (Source.Poses.empty()) Fail("no image has a position", "Each line holds an image with its position");
    return std::move(Source);
  }

 private:
  [[noreturn]] void Fail(std::string what, std::string remedy) const {
    Table.Lines().Fail(std::move(what), std::move(remedy));
  }
  const std::string& In(Column column) const { return Places.In(Fields, column); }

  void RefusePixels() const {
    for (const std::string& heading : Places.Unknown) {
      const std::string plain = PlainHeading(heading);
      if (std::ranges::find(kPixelHeadings, plain) != std::end(kPixelHeadings))
        Fail("the column '" + PrintableName(heading) + "' is one of control points and their measurements",
             "Import it by orvo import gcp, or leave the column out");
    }
  }

  void FindAngles() {
    for (const AngleColumns& row : kAngles) {
      int count = 0;
      for (const Column column : row.Columns) count += Places.Has(column) ? 1 : 0;
      if (count != 0 && count != 3 && row.Words != AngleWords::Flight && row.Words != AngleWords::Gimbal)
        Fail("angles need three columns, and there are not all of them",
             "Name omega, phi and kappa, or yaw, pitch and roll");
      if (count != 3) continue;
      const bool better = System && GoesWith(row.Words, *System) && !GoesWith(Source.Angles, *System);
      if (Source.Angles == AngleWords::None || better) {
        Source.Angles = row.Words;
        Angles = row.Columns;
      }
    }
  }

  double Needed(std::optional<double> value, Column column, const char* what) const {
    if (value) return *value;
    const std::string& text = In(column);
    Fail(QuotedField(text) + " is no " + what,
         !Table.TakesCommas() && text.find(',') != std::string::npos
             ? "Write numbers with a decimal point"
             : "It is a finite number, in degrees, minutes and seconds or with the unit m");
  }

  double Coordinate(Column column, Column sign) const {
    const std::string& text = In(column);
    const bool degrees = Places.Words == W::Degrees && Places.FactorOf(column) == 1;
    return Needed(
        degrees ? DegreesIn(text, In(sign), Table.TakesCommas()) : NumberIn(text, Table.TakesCommas()),
        column, "coordinate");
  }

  double Height() {
    const std::string& text = In(Column::Height);
    const double height =
        Needed(MetresIn(text, In(Column::HeightSign), Table.TakesCommas()), Column::Height, "height");
    if (text.find('m') == std::string::npos) return height;
    if (Places.FactorOf(Column::Height) != 1)
      Fail(Quoted(text) + " is in metres, and the column is not", "Take the unit out of the heading");
    Source.Units.Height = HeadingUnit();
    return height;
  }

  bool HasPlace() const {
    if (bInOne) return !IsNothing(In(Column::Place));
    return !IsNothing(In(Column::East)) && !IsNothing(In(Column::North));
  }

  /// Latitude before longitude, with a comma between them, or a blank where there are no units.
  std::array<double, 3> PlaceInOne() const {
    const std::string_view text = Trimmed(In(Column::Place));
    const size_t comma = text.find(',');
    const size_t between = comma != std::string_view::npos ? comma : text.find_first_of(" \t");
    std::optional<double> latitude, longitude;
    const bool two = comma != std::string_view::npos || BlankFields(text, 3).size() == 2;
    if (two) {
      latitude = DegreesIn(text.substr(0, between), {}, false);
      longitude = DegreesIn(text.substr(between + 1), {}, false);
    }
    return {Needed(longitude, Column::Place, "latitude and longitude"),
            Needed(latitude, Column::Place, "latitude and longitude"), 0};
  }

  std::optional<double> SecondsOfLine() const {
    if (!IsNothing(In(Column::DateTime)))
      return Needed(SecondsIn(In(Column::DateTime)), Column::DateTime, "time");
    if (IsNothing(In(Column::Time))) return std::nullopt;
    const std::string date = IsNothing(In(Column::Date)) ? std::string() : In(Column::Date) + " ";
    if (const auto seconds = SecondsIn(date + In(Column::Time))) return seconds;
    return Needed(SecondsIn("1970:01:01 " + In(Column::Time)), Column::Time, "time");
  }

  void ReadLine() {
    if (IsNothing(In(Column::Name))) Fail("the line has no image", "Name it, or take the line away");
    const bool noHeight = Source.bHeights && IsNothing(In(Column::Height));
    if (!HasPlace() || noHeight) {
      ++Source.nWithoutPlace;
      return;
    }
    SourcePose pose;
    pose.szImage = In(Column::Name);
    pose.nLine = Table.Lines().LineNumber();
    pose.P = bInOne ? PlaceInOne()
                    : std::array<double, 3>{Coordinate(Column::East, Column::EastSign),
                                            Coordinate(Column::North, Column::NorthSign), 0};
    if (Source.bHeights) pose.P[2] = Height();
    // A receiver without a fix writes zeros.
    if (Places.Words == W::Degrees && pose.P[0] == 0 && pose.P[1] == 0) {
      ++Source.nWithoutPlace;
      return;
    }
    ReadAngles(pose);
    pose.Seconds = SecondsOfLine();
    if (!IsNothing(In(Column::Strip))) {
      const double strip = Needed(NumberIn(In(Column::Strip)), Column::Strip, "number of a strip");
      if (strip != std::floor(strip) || std::abs(strip) > 1e9)
        Fail(Quoted(In(Column::Strip)) + " is no number of a strip", "It is a whole number");
      pose.Strip = static_cast<int64_t>(strip);
    }
    Keep(Source, std::move(pose), Table.Lines());
  }

  void ReadAngles(SourcePose& pose) {
    if (Source.Angles == AngleWords::None) return;
    std::array<double, 3> angles{};
    for (size_t i = 0; i < 3; ++i) {
      if (IsNothing(In(Angles[i]))) {
        ++Source.nWithoutAngles;
        return;
      }
      angles[i] = Needed(NumberIn(In(Angles[i]), Table.TakesCommas()), Angles[i], "angle") *
                  Places.FactorOf(Angles[i]);
      if (!std::isfinite(angles[i])) Fail(Quoted(In(Angles[i])) + " is no angle", "It is a finite number");
    }
    pose.Angles = angles;
  }

  DelimitedTable Table;
  ColumnPlaces Places;
  std::optional<AngleSystem> System;
  bool bInOne = false;  ///< latitude and longitude are one column
  Triple Angles{};
  PosSource Source;
  std::vector<std::string> Fields;
};

/// The fields of a line of the list, behind the image.
std::vector<double> NumbersBehindImage(const TextLines& lines, const std::string& line, std::string& image) {
  const std::vector<std::string> fields = BlankFields(line, 9);
  image = fields[0];
  std::vector<double> numbers;
  for (size_t i = 1; i < fields.size(); ++i) {
    const auto number = NumberIn(fields[i]);
    if (!number) lines.Fail(Quoted(fields[i]) + " is no number", "Write finite numbers with a decimal point");
    numbers.push_back(*number);
  }
  if (numbers.size() < 2)
    lines.Fail(Quoted(line) + " is no line of a list of positions", "It holds image, X, Y and Z, by blanks");
  return numbers;
}

PosSource ReadList(TextLines& lines, std::string crs) {
  PosSource source;
  source.szCrs = std::move(crs);
  source.bEastFirst = true;
  size_t least = 3;
  for (std::string line; lines.NextFilled(line);) {
    if (Trimmed(line)[0] == '#') continue;
    SourcePose pose;
    const std::vector<double> numbers = NumbersBehindImage(lines, line, pose.szImage);
    pose.nLine = lines.LineNumber();
    if (source.Poses.empty()) least = std::min<size_t>(numbers.size(), 3);
    if (numbers.size() < least)
      lines.Fail("the line has no height, and lines before it have one", "Give each image a height, or none");
    pose.P = {numbers[0], numbers[1], least == 3 ? numbers[2] : 0};
    if (numbers.size() >= 6) {
      pose.Angles = std::array<double, 3>{numbers[3], numbers[4], numbers[5]};
      source.Angles = AngleWords::YawPitchRoll;
    }
    Keep(source, std::move(pose), lines);
  }
  if (source.Poses.empty())
    lines.Fail("the list holds no image", "Each line holds an image with its position");
  source.bHeights = least == 3;
  for (const SourcePose& pose : source.Poses)
    source.nWithoutAngles += source.Angles != AngleWords::None && !pose.Angles ? 1 : 0;
  return source;
}

}  // namespace

bool GoesWith(AngleWords words, AngleSystem system) {
  const bool turns = system == AngleSystem::Orvo || system == AngleSystem::Standard;
  switch (words) {
    case AngleWords::None:
      return false;
    case AngleWords::OmegaPhiKappa:
      return turns;
    case AngleWords::YawPitchRoll:
      return !turns;
    case AngleWords::Flight:
      return system == AngleSystem::Body;
    case AngleWords::Gimbal:
      return system == AngleSystem::Gimbal;
  }
  return false;
}

PosSource ReadPosSource(const std::string& path, std::optional<AngleSystem> system) {
  TextLines lines(path);
  std::string first;
  if (!lines.NextFilled(first)) Refuse(path, 1, "the file is empty", "Give a table of positions");
  if (auto crs = SystemOfLine(first)) return ReadList(lines, std::move(*crs));
  return TableReader(path, system).Read();
}

}  // namespace orvo::exchange
