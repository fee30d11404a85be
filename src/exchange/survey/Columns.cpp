#include "exchange/survey/Columns.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

constexpr std::string_view kGroups[] = {"Composite", "EXIF", "XMP"};

/// What stands before the last colon: the group of a tag.
std::string_view GroupOf(std::string_view heading) {
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

}  // namespace

const std::string& ColumnPlaces::In(const std::vector<std::string>& fields, Column column) const {
  static const std::string none;
  const auto place = At.find(column);
  return place == At.end() ? none : fields[place->second];
}

std::string PlainHeading(const std::string& heading) {
  std::string plain;
  for (const char c : std::string_view(heading).substr(heading.rfind(':') + 1)) {
    if (c == '(' || c == '[') break;
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
  return places;
}

}  // namespace orvo::exchange
