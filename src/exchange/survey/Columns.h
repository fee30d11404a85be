// Which column of a table means what, by its heading.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "exchange/survey/DelimitedTable.h"
#include "exchange/survey/HeadingUnits.h"

namespace orvo::exchange {

enum class Column {
  Name,
  East,
  North,
  Height,
  Role,
  SigmaEast,
  SigmaNorth,
  SigmaHeight,
  Image,
  PixelX,
  PixelY,
  Omega,
  Phi,
  Kappa,
  Yaw,
  Pitch,
  Roll,
  GimbalYaw,
  GimbalPitch,
  GimbalRoll,
  FlightYaw,
  FlightPitch,
  FlightRoll,
  Strip,
  DateTime,
  Date,
  Time,
  EastSign,
  NorthSign,
  HeightSign,
  Place  ///< latitude and longitude in one
};

/// What the headings of coordinates say of them.
enum class CoordinateWords {
  Neutral,  ///< x, y
  Map,      ///< east, north
  Degrees   ///< longitude, latitude
};

/// A heading by which a column is known.
struct KnownHeading {
  const char* szName;  ///< in small letters, without blanks, marks and units
  Column Means;
  CoordinateWords Words = CoordinateWords::Neutral;
  int nRank = 0;  ///< of several headings of one meaning the lowest is taken; equal ones are refused
};

struct ColumnPlaces {
  std::map<Column, size_t> At;
  std::map<Column, HeadingUnit> Units;  ///< of columns whose heading names one
  CoordinateWords Words = CoordinateWords::Neutral;
  std::string szEast;                ///< the heading of the first coordinate
  std::vector<std::string> Unknown;  ///< headings that nothing is known by

  bool Has(Column column) const { return At.contains(column); }
  /// Empty where there is no such column.
  const std::string& In(const std::vector<std::string>& fields, Column column) const;
  /// Metres, degrees or pixels in one of what a column holds; 1 where its heading names no unit.
  double FactorOf(Column column) const;
};

/// Small letters and digits of a heading, up to a bracket; without the group of a tag, as in
/// EXIF:GPSAltitude.
std::string PlainHeading(const std::string& heading);

/// Throws ExchangeFault where two columns have one meaning, and where a heading has a unit that is not known
/// or does not go with what it means. Of one tag in several groups, what was composed of the others goes
/// first, for it has the sign, then EXIF, then XMP.
ColumnPlaces PlaceColumns(const DelimitedTable& table, std::span<const KnownHeading> known);

}  // namespace orvo::exchange
