// From values to places in a picture, and what is drawn around: axes of charts, edges of maps.
#pragma once

#include <string_view>
#include <vector>

#include "report/html/Svg.h"

namespace orvo::report {

/// A rectangle of a picture.
struct Box {
  double fLeft = 0, fTop = 0, fWidth = 0, fHeight = 0;
  double Right() const { return fLeft + fWidth; }
  double Bottom() const { return fTop + fHeight; }
};

/// An axis with a range that is never empty.
struct ChartAxis {
  double fLow = 0, fHigh = 1;
  bool bLog = false;  ///< decimal logarithm; both ends above 0
  /// Share of the way from fLow to fHigh. What a logarithmic axis can't show lies at its low end.
  double At(double value) const;
};

/// The smallest range that holds both and is wide enough to be drawn: `low` and `high` may be equal, in the
/// wrong order or not finite.
ChartAxis AxisOf(double low, double high);
/// From the power of ten below `low` to that above `high`, both finite and above 0; 1 to 10 else.
ChartAxis LogAxisOf(double low, double high);

/// A chart: x to the right, y up.
struct Chart {
  Box Area;
  ChartAxis X, Y;
  Pair At(double x, double y) const;
};

struct ChartTitles {
  std::string_view szX, szY;
  int nMostX = 8, nMostY = 6;  ///< labels
};

/// Grid, ticks with numbers and titles: they take some 44 pixels to the left, 20 above (the title of y stands
/// there) and 40 below the area.
void DrawAxes(Svg& svg, const Chart& chart, const ChartTitles& titles);

/// A piece of the ground in a picture with equal scales, east to the right and north up, in the middle of
/// its box.
struct Map {
  Box Area;                 ///< what the ground takes of the box
  double fX0 = 0, fY0 = 0;  ///< ground coordinates of the lower left corner of Area
  double fScale = 1;        ///< pixels an object unit
  Pair At(double X, double Y) const;
  const char* pUnit = "m";  ///< of lengths on the ground
};

/// The largest map of this piece that fits in `box`, with a margin of `margin` (a share of its longer side)
/// around. Low and high may be equal, in the wrong order or not finite.
Map MapOf(const Triple& low, const Triple& high, const Box& box, double margin = 0.04);

/// The same with its upper edge at `top`, as wide as `width` and no higher than `most`.
Map MapBelow(const Triple& low, const Triple& high, double left, double top, double width, double most,
             double margin = 0.04);

/// Frame with coordinates at its ticks: they take some 20 pixels below and 20 pixels to the left (turned
/// text).
void DrawMapFrame(Svg& svg, const Map& map);
/// A scale bar of a round length with its left end at (x, y), at most `most` pixels long. Returns its length
/// in pixels, its label included.
double DrawScaleBar(Svg& svg, const Map& map, double x, double y, double most);
void DrawNorthArrow(Svg& svg, double x, double y);

/// 1, 2 or 5 times a power of ten, not above `value`; 1 where that is not finite or above 0.
double RoundBelow(double value);
/// "200", "0.5", "20,000".
std::string RoundText(double value);

/// Samples of a legend in rows below each other that are as wide as the picture.
enum class LegendShape { Line, Area, Hatched, Crossed, Dot, Square, Cross, Triangle, Ring };
struct LegendEntry {
  LegendShape Shape = LegendShape::Line;
  std::string szStyle;  ///< classes
  std::string szText;
};
/// Height that DrawLegend takes in a width.
double LegendHeight(const std::vector<LegendEntry>& entries, double width);
/// Draws from (x, y), y being the middle of the first row, within `width`. Returns the height taken.
double DrawLegend(Svg& svg, const std::vector<LegendEntry>& entries, double x, double y, double width);

}  // namespace orvo::report
