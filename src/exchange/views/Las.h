// Points as a LAS 1.4 file.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "base/TextWriter.h"
#include "exchange/views/ViewBlock.h"

namespace orvo::exchange {

/// What is not in the block.
struct LasHead {
  int32_t nYear = 0, nDayOfYear = 0;  ///< of creation; 0 for unknown
  std::string szWkt;                  ///< coordinate system of the points; empty for none
  bool bDegrees = false;              ///< X and Y are longitude and latitude
};

/// Coordinates are held as whole multiples of `Scale` from `Offset`.
struct LasGrid {
  std::array<double, 3> Scale{}, Offset{};
};

/// A tenth of a millimetre, or of X and Y in degrees 1e-9, where the extent allows it, else the next power of
/// ten that does; offsets are whole thousands of object units, or whole degrees, near the middle, or 0.
/// Nothing where no grid holds the points.
std::optional<LasGrid> GridOf(const std::array<double, 3>& least, const std::array<double, 3>& most,
                              bool degrees = false);

/// Solved tie, control and check points in the point format 6, with the extra bytes `rms` (float, image
/// units) and `rays` (ushort). The class is 1, unclassified; control and check points are key points.
/// False, with nothing written, where the coordinates fit no grid.
bool WriteLas(const ViewBlock& view, const LasHead& head, TextWriter& file);

}  // namespace orvo::exchange
