#include "exchange/survey/CoordinateColumns.h"

#include "exchange/ExchangeFault.h"

namespace orvo::exchange {

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
