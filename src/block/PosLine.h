// One line of a POS file.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace orvo {

/// Fields of a POS line in the file's order and units. A line that ends early leaves the fields behind its
/// end as the line before gave them; those that no line has given yet are not-a-number, the strip -1.
struct PosLine {
  std::string szName;  ///< image name without folder and extension
  double X = std::numeric_limits<double>::quiet_NaN();
  double Y = X, Z = X;
  double fOmega = X, fPhi = X, fKappa = X;  ///< degrees, in this order
  int32_t nStrip = -1;
};

/// Reads `text` over `line`; false, with `line` untouched, when the text is blank.
bool ReadPosLine(std::string_view text, PosLine& line);

/// Radians of an angle in degrees, by the ten-digit pi of the POS form.
double PosRadians(double degrees);

}  // namespace orvo
