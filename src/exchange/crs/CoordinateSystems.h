// Coordinate systems and the frames in which blocks are adjusted, through PROJ.
#pragma once

#include <array>
#include <optional>
#include <stdexcept>
#include <string>

#include "exchange/crs/FrameKind.h"

namespace orvo::exchange {

/// False in a build without PROJ; whatever needs it refuses then, saying so.
bool HasCoordinateSystems();

/// A coordinate system that can't be used: what() is a clause without full stop, Remedy a sentence without.
class CrsFault : public std::runtime_error {
 public:
  CrsFault(const std::string& what, std::string remedy)
      : std::runtime_error(what), Remedy(std::move(remedy)) {}
  std::string Remedy;
};

/// What coordinates of a file mean, as the user says.
struct SourceSystem {
  std::string szCrs;  ///< a code (EPSG:25832), a compound code (EPSG:25832+7837), WKT, or a PROJ string
  /// Empty where szCrs has heights; else "ellipsoidal", "ellipsoidal:m", "ellipsoidal:ft",
  /// "ellipsoidal:us-ft", "none", or a vertical system (EPSG:5773).
  std::string szHeight;

  bool operator==(const SourceSystem&) const = default;
};

/// The frame of a block.
struct BlockFrame {
  FrameKind Kind = FrameKind::AsIs;
  SourceSystem System;  ///< of a projected frame
  /// Origin of a topocentric one: degrees and metres of WGS 84.
  double dLongitude = 0, dLatitude = 0, dHeight = 0;

  bool operator==(const BlockFrame&) const = default;
};

/// What is to be known of a system before coordinates are read in it.
struct SystemFacts {
  std::string szName;
  bool bGeographic = false, bProjected = false, bGeocentric = false;
  bool bHeights = false;     ///< it says itself what heights are
  bool bNorthFirst = false;  ///< by its definition: coordinates are taken east first nevertheless
  double dMetresOfUnit = 1;  ///< of its horizontal axes; 1 for degrees
  std::string szUnit;
  /// Degrees of longitude and latitude; west above east across the antimeridian.
  std::optional<std::array<double, 4>> WestSouthEastNorth;
};

/// Throws CrsFault where PROJ does not know it, or it is no system of places on the earth.
SystemFacts DescribeSystem(const SourceSystem& system);
/// Metres in one of what heights of the source are in. Throws CrsFault as FrameTransform does.
double MetresOfHeights(const SourceSystem& system);
/// The two have the same coordinates on the map, whatever their heights and the order of their axes are.
/// Throws CrsFault.
bool IsSameMap(const std::string& one, const std::string& other);

}  // namespace orvo::exchange
