#include "exchange/survey/Columns.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

constexpr std::string_view kGroups[] = {"Composite", "EXIF", "XMP"};

std::string_view BeforeBracket(std::string_view heading) {
  return heading.substr(0, StartOfBracket(heading));
}

/// What stands before the last colon: the group of a tag.
std::string_view GroupOf(std::string_view heading) {
  heading = BeforeBracket(heading);
  const size_t colon = heading.rfind(':');
  return colon == std::string_view::npos ? std::string_view() : heading.substr(0, colon);
}

int RankOfGroup(std::string_view group) {
  if (group.empty()) return 0;
  const auto place = std::ranges::find(kGroups, group);
  return static_cast<int>(place - std::begin(kGroups));
}

/// Of a heading in a group: all ranks of its name go before the group's.
int RankOf(const KnownHeading& known, const std::string& heading) {
  return known.nRank * static_cast<int>(std::size(kGroups) + 1) + RankOfGroup(GroupOf(heading));
}

bool IsMap(Column column) { return column == Column::East || column == Column::North; }

/// Of columns that have a unit.
bool GoesWith(Column column, UnitKind unit) {
  if (IsMap(column)) return unit != UnitKind::Pixel;
  switch (column) {
    case Column::Height:
    case Column::SigmaEast:
    case Column::SigmaNorth:
    case Column::SigmaHeight:
      return unit == UnitKind::Length;
    case Column::PixelX:
    case Column::PixelY:
      return unit == UnitKind::Pixel;
    default:
      return unit == UnitKind::Angle;
  }
}

bool HasUnit(Column column) {
  return (column >= Column::East && column <= Column::Height) ||
         (column >= Column::SigmaEast && column <= Column::SigmaHeight) ||
         (column >= Column::PixelX && column <= Column::FlightRoll) || column == Column::Place;
}

void FindUnits(const DelimitedTable& table, ColumnPlaces& places) {
  for (const auto& [column, at] : places.At) {
    if (!HasUnit(column)) continue;
    const std::string& heading = table.Headings()[at];
    const UnitWords words = UnitOfHeading(heading);
    if (!words.szUnknown.empty()) {
      table.Lines().Fail("'" + PrintableName(words.szUnknown) + "' in the heading '" +
                             PrintableName(heading) + "' is no unit that is known",
                         "Units are m, mm, cm, km, ft, us-ft, deg, rad, gon and px; leave other words out");
    }
    if (!words.Unit) continue;
    if (!GoesWith(column, words.Unit->Kind)) {
      table.Lines().Fail("the unit " + std::string(words.Unit->szName) + " does not go with the column '" +
                             PrintableName(heading) + "'",
                         "Correct the heading, or convert the column");
    }
    places.Units[column] = *words.Unit;
  }
  const auto east = places.Units.find(Column::East), north = places.Units.find(Column::North);
  if (places.Has(Column::East) && places.Has(Column::North) &&
      (east == places.Units.end() ? "" : east->second.szName) !=
          std::string(north == places.Units.end() ? "" : north->second.szName)) {
    table.Lines().Fail("the columns '" + PrintableName(places.szEast) + "' and '" +
                           PrintableName(table.Headings()[places.At[Column::North]]) + "' have two units",
                       "Give both headings the same unit");
  }
}

}  // namespace

double ColumnPlaces::FactorOf(Column column) const {
  const auto unit = Units.find(column);
  return unit == Units.end() ? 1 : unit->second.dFactor;
}

const std::string& ColumnPlaces::In(const std::vector<std::string>& fields, Column column) const {
  static const std::string none;
  const auto place = At.find(column);
  return place == At.end() ? none : fields[place->second];
}

std::string PlainHeading(const std::string& heading) {
  std::string plain;
  const std::string_view name = BeforeBracket(heading);
  for (const char c : name.substr(name.rfind(':') + 1)) {
    if (c >= 'A' && c <= 'Z') plain += static_cast<char>(c - 'A' + 'a');
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) plain += c;
  }
  return plain;
}

ColumnPlaces PlaceColumns(const DelimitedTable& table, std::span<const KnownHeading> known) {
  ColumnPlaces places;
  std::map<Column, int> ranks;
  const std::vector<std::string>& headings = table.Headings();
  for (size_t i = 0; i < headings.size(); ++i) {
    const std::string plain = PlainHeading(headings[i]);
    const auto row = std::find_if(known.begin(), known.end(),
                                  [&](const KnownHeading& heading) { return plain == heading.szName; });
    if (row == known.end()) {
      places.Unknown.push_back(headings[i]);
      continue;
    }
    const int rank = RankOf(*row, headings[i]);
    const auto before = ranks.find(row->Means);
    if (before != ranks.end() && before->second == rank) {
      table.Lines().Fail("the columns '" + PrintableName(headings[places.At[row->Means]]) + "' and '" +
                             PrintableName(headings[i]) + "' mean the same",
                         "Rename the one that is not meant");
    }
    if (before != ranks.end() && before->second < rank) continue;
    ranks[row->Means] = rank;
    places.At[row->Means] = i;
    if (row->Means == Column::East) {
      places.Words = row->Words;
      places.szEast = headings[i];
    }
  }
  if (places.Has(Column::North) && places.Has(Column::East)) {
    const std::string plain = PlainHeading(headings[places.At[Column::North]]);
    const auto north = std::find_if(known.begin(), known.end(),
                                    [&](const KnownHeading& heading) { return plain == heading.szName; });
    if (north->Words != places.Words) {
      table.Lines().Fail("the columns '" + PrintableName(places.szEast) + "' and '" +
                             PrintableName(headings[places.At[Column::North]]) + "' do not go together",
                         "Name them x and y, easting and northing, or longitude and latitude");
    }
  }
  FindUnits(table, places);
  return places;
}

}  // namespace orvo::exchange
