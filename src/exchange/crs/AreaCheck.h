// Places against the area in which their coordinate system is used.
#pragma once

#include <array>
#include <span>
#include <string>

#include "exchange/crs/CoordinateSystems.h"

namespace orvo::exchange {

/// Throws CrsFault where the middle of the places lies outside the area of use, but within when east and
/// north are exchanged. A sentence where it lies outside both ways; empty where all is well, or no area is
/// known.
std::string CheckArea(const SourceSystem& source, std::span<const std::array<double, 3>> places);
/// The same sentence, also where exchanging them would help: for places that were computed.
std::string OutsideArea(const SourceSystem& source, std::span<const std::array<double, 3>> places);

}  // namespace orvo::exchange
