// The unit of lengths on the ground.
#pragma once

#include "report/RunFigures.h"

namespace orvo::report {

/// True where something on the ground or in the air is known by its coordinates: control or check points, or
/// positions by GPS. Without them the scale of the block is that of its start, whatever it was.
bool HasScale(const RunFigures& figures);

/// "m", or "units" where nothing tells their length.
const char* LengthUnit(const RunFigures& figures);

}  // namespace orvo::report
