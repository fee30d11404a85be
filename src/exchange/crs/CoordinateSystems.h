// Coordinate systems and the frames in which blocks are adjusted, through PROJ.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

namespace orvo::exchange {

/// False in a build without PROJ; whatever needs it refuses then, saying so.
bool HasCoordinateSystems();

}  // namespace orvo::exchange
