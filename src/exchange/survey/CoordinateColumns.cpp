#include "exchange/survey/CoordinateColumns.h"

#include <cmath>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

constexpr const char* kCorrect = "Correct the heading, or convert the columns";

bool IsSame(double one, double other) { return std::abs(one - other) < 1e-9 * other; }

/// A foot of no country is that of the system.
bool IsUnitOf(const HeadingUnit& unit, double metres) {
  constexpr double kFeetDiffer = 1e-5;
  return unit.bSomeFoot ? std::abs(unit.dFactor - metres) < kFeetDiffer * metres
                        : IsSame(unit.dFactor, metres);
}

/// Metres of what is no system's.
double FactorWithoutSystem(const std::string& path, const HeadingUnit& unit) {
  if (unit.Kind == UnitKind::Angle)
    Refuse(path, 1, std::string("coordinates in ") + unit.szName + " have no coordinate system",
           "Name it with --crs: EPSG:4326 for those of a GPS");
  if (unit.bSomeFoot)
    Refuse(path, 1, "east and north in ft may be in the international foot or in that of the US survey",
           "Write [ift] or [us-ft] in the headings");
  return unit.dFactor;
}

double FactorOnMap(const std::string& path, const HeadingUnit& unit, const SystemFacts& facts) {
  if (facts.bGeographic != (unit.Kind == UnitKind::Angle))
    Refuse(path, 1,
           std::string("the columns of east and north are in ") + unit.szName + ", and " + facts.szName +
               (facts.bGeographic ? " is in degrees" : " is in a unit of length"),
           "Name another system with --crs, or correct the heading");
  if (!facts.bGeographic) {
    if (IsUnitOf(unit, facts.dMetresOfUnit)) return 1;
    Refuse(path, 1,
           std::string("the columns of east and north are in ") + unit.szName + ", and the unit of " +
               facts.szName + " is the " + facts.szUnit,
           "Name the system that they are in with --crs, or correct the heading");
  }
  if (facts.szUnit == "degree") return unit.dFactor;
  if (facts.szUnit == "grad" && IsSame(unit.dFactor, 0.9)) return 1;
  Refuse(path, 1,
         std::string("the columns of longitude and latitude are in ") + unit.szName + ", and " +
             facts.szName + " is in " + facts.szUnit,
         kCorrect);
}

double FactorOfHeights(const std::string& path, const HeadingUnit& unit, const SystemFacts& facts,
                       SourceSystem& system) {
  const bool inFeet = facts.bProjected && facts.dMetresOfUnit != 1 && !facts.bHeights;
  if (system.szHeight == "ellipsoidal" && inFeet)
    system.szHeight = "ellipsoidal:m";
  else if (system.szHeight.starts_with("ellipsoidal:")) {
    if (IsUnitOf(unit, MetresOfHeights(system))) return 1;
    Refuse(
        path, 1,
        std::string("the column of heights is in ") + unit.szName + ", and --height says " + system.szHeight,
        "Leave one of the two out");
  }
  const double metres = MetresOfHeights(system);
  return IsUnitOf(unit, metres) ? 1 : unit.dFactor / metres;
}

}  // namespace

CoordinateUnits UnitsOf(const ColumnPlaces& places) {
  const auto in = [&](Column column) {
    const auto unit = places.Units.find(column);
    return unit == places.Units.end() ? std::nullopt : std::optional(unit->second);
  };
  return {in(Column::East), in(Column::Height)};
}

CoordinateScale ScaleOf(const std::string& path, const CoordinateUnits& units, SourceSystem& system) {
  CoordinateScale scale;
  double& height = scale.Factors[2];
  double map = 1;
  if (system.szCrs.empty()) {
    if (units.Map) map = FactorWithoutSystem(path, *units.Map);
    if (units.Height) height = units.Height->dFactor;
  } else if (units.Map || units.Height) {
    try {
      const SystemFacts facts = DescribeSystem(system);
      if (units.Map) map = FactorOnMap(path, *units.Map, facts);
      if (units.Height) height = FactorOfHeights(path, *units.Height, facts, system);
    } catch (const CrsFault& fault) {
      Refuse(path, 0, fault.what(), fault.Remedy);
    }
  }
  scale.Factors[0] = scale.Factors[1] = map;
  if (map != 1) scale.szNote = std::string("East and north are converted from ") + units.Map->szName + ".";
  if (height != 1)
    scale.szNote +=
        std::string(map != 1 ? " " : "") + "Heights are converted from " + units.Height->szName + ".";
  return scale;
}

std::array<double, 3> Scaled(const std::array<double, 3>& place, const CoordinateScale& scale) {
  return {place[0] * scale.Factors[0], place[1] * scale.Factors[1], place[2] * scale.Factors[2]};
}

void CheckSystems(const std::string& path, const std::string& own, const std::string& named) {
  if (own.empty() || named.empty() || own == named) return;
  bool same = false;
  try {
    same = IsSameMap(own, named);
  } catch (const CrsFault& fault) {
    Refuse(path, 0, fault.what(), fault.Remedy);
  }
  if (!same)
    Refuse(path, 1, "its first line names " + PrintableName(own) + ", and --crs " + PrintableName(named),
           "Leave --crs away, or correct the line");
}

void CheckWords(const std::string& path, CoordinateWords words, const std::string& crs) {
  if (crs.empty()) {
    if (words == CoordinateWords::Degrees) {
      Refuse(path, 1, "longitude and latitude have no coordinate system",
             "Name it with --crs: EPSG:4326 for those of a GPS, EPSG:4979 with heights above the ellipsoid");
    }
    return;
  }
  SystemFacts facts;
  try {
    facts = DescribeSystem({crs, ""});
  } catch (const CrsFault& fault) {
    Refuse(path, 0, fault.what(), fault.Remedy);
  }
  if (words == CoordinateWords::Degrees && !facts.bGeographic)
    Refuse(path, 1, "the columns are longitude and latitude, and " + facts.szName + " has none",
           "Name another system with --crs, or rename the columns");
  if (words == CoordinateWords::Map && facts.bGeographic)
    Refuse(path, 1, "the columns are easting and northing, and " + facts.szName + " is in degrees",
           "Name another system with --crs, or rename the columns");
  if (words == CoordinateWords::Neutral && facts.bNorthFirst)
    Refuse(path, 1, "x and y do not say which of them is north, which " + facts.szName + " counts first",
           facts.bGeographic ? "Name the columns lon and lat" : "Name the columns easting and northing");
}

}  // namespace orvo::exchange
