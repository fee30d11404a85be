// What the headings of coordinates say, held to their coordinate system.
#pragma once

#include <string>

#include "exchange/crs/CoordinateSystems.h"
#include "exchange/survey/Columns.h"

namespace orvo::exchange {

/// Throws ExchangeFault where the words do not go with the system, or leave its axes open: x and y in a
/// system that counts north first. `crs` may be empty.
void CheckWords(const std::string& path, CoordinateWords words, const std::string& crs);

}  // namespace orvo::exchange
