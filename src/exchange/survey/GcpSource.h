// Control points as tables of other programs have them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "exchange/survey/CoordinateColumns.h"

namespace orvo::exchange {

struct SourceMark {
  std::string szImage;
  double dX = 0, dY = 0;  ///< pixels, y down, as written
  int64_t nLine = 0;
};

struct SourcePoint {
  std::string szName;
  std::array<double, 3> P{};                   ///< east, north, height, as written
  std::optional<bool> Check;                   ///< the role that the file gives it
  std::array<std::optional<double>, 3> Sigma;  ///< metres
  std::vector<SourceMark> Marks;
  int64_t nLine = 0;
};

struct GcpSource {
  std::string szCrs;     ///< that the file names; empty where it names none
  bool bHeights = true;  ///< points have a height
  CoordinateWords Words = CoordinateWords::Map;
  CoordinateUnits Units;     ///< of coordinates, which are not converted yet
  double dFirstPixel = 0.5;  ///< what the centre of the first pixel is counted as
  std::vector<SourcePoint> Points;
  std::vector<std::string> Ignored;  ///< headings of columns that are not read
};

/// A CSV file with headings, a line for each point or for each of its measurements; or a list that begins
/// with a coordinate system, then X Y Z, pixel, image and name by blanks. Throws ExchangeFault.
GcpSource ReadGcpSource(const std::string& path);

/// Whether the line names a coordinate system, as the first of a list does; the name as PROJ takes it.
std::optional<std::string> SystemOfLine(const std::string& line);

}  // namespace orvo::exchange
