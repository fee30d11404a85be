// What the headings of coordinates say, held to their coordinate system.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "exchange/crs/CoordinateSystems.h"
#include "exchange/survey/Columns.h"

namespace orvo::exchange {

/// Throws ExchangeFault where the words do not go with the system, or leave its axes open: x and y in a
/// system that counts north first. `crs` may be empty.
void CheckWords(const std::string& path, CoordinateWords words, const std::string& crs);

/// Of the headings, where they name one.
struct CoordinateUnits {
  std::optional<HeadingUnit> Map, Height;
};
CoordinateUnits UnitsOf(const ColumnPlaces& places);

/// What coordinates are multiplied by to be in the units of their system, in metres where `system` has none.
struct CoordinateScale {
  std::array<double, 3> Factors = {1, 1, 1};
  std::string szNote;  ///< what is converted: a sentence, empty where nothing is
};

/// Heights are converted. East and north are where they have no system, or are angles; those of a system have
/// to be in its own unit, for another one tells that it is another system. Heights of the ellipsoid of a
/// system in feet become those in metres in `system` where only the heading tells their unit. Throws
/// ExchangeFault.
CoordinateScale ScaleOf(const std::string& path, const CoordinateUnits& units, SourceSystem& system);

std::array<double, 3> Scaled(const std::array<double, 3>& place, const CoordinateScale& scale);

/// Throws ExchangeFault where `named`, by the user, is not on the same map as `own`, which the file names.
/// Either may be empty.
void CheckSystems(const std::string& path, const std::string& own, const std::string& named);

}  // namespace orvo::exchange
