#include "report/html/Frames.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "report/html/Numbers.h"

namespace orvo::report {
namespace {

/// Text of this size stands in the middle of a line when its base is that much lower.
constexpr double kHalfText = 4;
constexpr double kLegendRow = 20, kLegendText = 22;

std::string TickText(double value, const AxisTicks& ticks) { return Thousands(value, ticks.nDecimals); }

std::string PowerText(double value) {
  const double power = std::round(std::log10(value));
  return power >= -4 && power <= 5 ? Thousands(value, std::max(0, static_cast<int>(-power)))
                                   : "1e" + Fixed(power, 0);
}

/// Values with labels on one axis.
std::vector<std::pair<double, std::string>> LabelsOf(const ChartAxis& axis, int most) {
  std::vector<std::pair<double, std::string>> labels;
  if (axis.bLog) {
    const double first = std::round(std::log10(axis.fLow)), last = std::round(std::log10(axis.fHigh));
    const double step = std::max(1.0, std::ceil((last - first) / most));
    for (double power = first; power <= last; power += step) {
      const double value = std::pow(10, power);
      labels.emplace_back(value, PowerText(value));
    }
    return labels;
  }
  const AxisTicks ticks = TicksOf(axis.fLow, axis.fHigh, most);
  for (int i = 0; i < ticks.nNum; ++i) labels.emplace_back(ticks.At(i), TickText(ticks.At(i), ticks));
  return labels;
}

void DrawSample(Svg& svg, const LegendEntry& entry, double x, double y) {
  const char* style = entry.szStyle.c_str();
  switch (entry.Shape) {
    case LegendShape::Line:
      svg.Line(x, y, x + 16, y, style);
      break;
    case LegendShape::Area:
      svg.Rect(x, y - 6, 16, 12, style);
      break;
    case LegendShape::Hatched:
    case LegendShape::Crossed: {
      svg.Rect(x, y - 6, 16, 12, style);
      SvgPath strokes;
      strokes.Line(x, y + 6, x + 16, y - 6);
      if (entry.Shape == LegendShape::Crossed) strokes.Line(x, y - 6, x + 16, y + 6);
      svg.Path(strokes.Text(), "hatch");
      break;
    }
    case LegendShape::Square:
      svg.Rect(x + 4, y - 4, 8, 8, style);
      break;
    case LegendShape::Cross: {
      SvgPath strokes;
      strokes.Line(x + 4, y - 4, x + 12, y + 4);
      strokes.Line(x + 4, y + 4, x + 12, y - 4);
      svg.Path(strokes.Text(), style);
      break;
    }
    case LegendShape::Dot:
      svg.Circle(x + 8, y, 4, style);
      break;
    case LegendShape::Ring:
      svg.Circle(x + 8, y, 5, style);
      break;
    case LegendShape::Triangle: {
      const std::array<Pair, 3> corners = {Pair{x + 2, y + 5}, Pair{x + 14, y + 5}, Pair{x + 8, y - 6}};
      svg.Polygon(corners, style);
      break;
    }
  }
}

/// Where the samples begin, from the first one on.
std::vector<Pair> LegendPlaces(const std::vector<LegendEntry>& entries, double width) {
  std::vector<Pair> places;
  Pair next;
  for (const LegendEntry& entry : entries) {
    const double length = kLegendText + TextWidth(entry.szText);
    if (next.x > 0 && next.x + length > width) next = {0, next.y + kLegendRow};
    places.push_back(next);
    next.x += length + 14;
  }
  return places;
}

}  // namespace

double ChartAxis::At(double value) const {
  if (!bLog) return (value - fLow) / (fHigh - fLow);
  if (!(value > fLow)) return 0;
  return std::log(value / fLow) / std::log(fHigh / fLow);
}

ChartAxis AxisOf(double low, double high) {
  if (!std::isfinite(low) || !std::isfinite(high) || !std::isfinite(high - low)) return {};
  if (low > high) std::swap(low, high);
  const double least = 1e-6 * std::max({std::fabs(low), std::fabs(high), 1e-3});
  if (high - low < least) {
    low -= least / 2;
    high += least / 2;
  }
  return {low, high, false};
}

ChartAxis LogAxisOf(double low, double high) {
  if (!(low > 0) || !(high >= low) || !std::isfinite(high)) return {1, 10, true};
  const double first = std::floor(std::log10(low)), last = std::ceil(std::log10(high));
  if (first < -300 || last > 300) return {1, 10, true};
  return {std::pow(10, first), std::pow(10, std::max(last, first + 1)), true};
}

Pair Chart::At(double x, double y) const {
  return {Area.fLeft + Area.fWidth * X.At(x), Area.Bottom() - Area.fHeight * Y.At(y)};
}

void DrawAxes(Svg& svg, const Chart& chart, const ChartTitles& titles) {
  const Box& area = chart.Area;
  for (const auto& [value, text] : LabelsOf(chart.Y, titles.nMostY)) {
    const double y = area.Bottom() - area.fHeight * chart.Y.At(value);
    svg.Line(area.fLeft, y, area.Right(), y, "grid");
    svg.Text(area.fLeft - 6, y + kHalfText, text, "axis", "end");
  }
  double free = -1e9;
  for (const auto& [value, text] : LabelsOf(chart.X, titles.nMostX)) {
    const double x = area.fLeft + area.fWidth * chart.X.At(value);
    svg.Line(x, area.fTop, x, area.Bottom(), "grid");
    const double half = TextWidth(text) / 2, middle = std::min(x, svg.Width() - half);
    if (middle - half < free) continue;
    svg.Text(middle, area.Bottom() + 16, text, "axis", "middle");
    free = middle + half + 4;
  }
  svg.Line(area.fLeft, area.Bottom(), area.Right(), area.Bottom(), "edge");
  svg.Line(area.fLeft, area.fTop, area.fLeft, area.Bottom(), "edge");
  if (!titles.szX.empty()) {
    svg.Text(area.fLeft + area.fWidth / 2, area.Bottom() + 34, titles.szX, "text", "middle");
  }
  if (!titles.szY.empty()) svg.Text(std::max(area.fLeft - 40, 2.0), area.fTop - 10, titles.szY, "text");
}

Pair Map::At(double X, double Y) const {
  return {Area.fLeft + fScale * (X - fX0), Area.Bottom() - fScale * (Y - fY0)};
}

Map MapOf(const Triple& low, const Triple& high, const Box& box, double margin) {
  const ChartAxis x = AxisOf(low.X, high.X), y = AxisOf(low.Y, high.Y);
  const double around = margin * std::max(x.fHigh - x.fLow, y.fHigh - y.fLow);
  const double width = x.fHigh - x.fLow + 2 * around, height = y.fHigh - y.fLow + 2 * around;
  Map map;
  map.fScale = std::min(box.fWidth / width, box.fHeight / height);
  map.Area.fWidth = map.fScale * width;
  map.Area.fHeight = map.fScale * height;
  map.Area.fLeft = box.fLeft + (box.fWidth - map.Area.fWidth) / 2;
  map.Area.fTop = box.fTop + (box.fHeight - map.Area.fHeight) / 2;
  map.fX0 = x.fLow - around;
  map.fY0 = y.fLow - around;
  return map;
}

Map MapBelow(const Triple& low, const Triple& high, double left, double top, double width, double most,
             double margin) {
  Map map = MapOf(low, high, {left, top, width, most}, margin);
  map.Area.fTop = top;
  return map;
}

void DrawMapFrame(Svg& svg, const Map& map) {
  const Box& area = map.Area;
  svg.Rect(area.fLeft, area.fTop, area.fWidth, area.fHeight, "frame");
  const auto most = [](double length) { return std::clamp(static_cast<int>(length / 90), 1, 6); };
  double free = -1e9;
  const AxisTicks east = TicksOf(map.fX0, map.fX0 + area.fWidth / map.fScale, most(area.fWidth));
  for (int i = 0; i < east.nNum; ++i) {
    const double x = map.At(east.At(i), map.fY0).x;
    svg.Line(x, area.Bottom(), x, area.Bottom() + 4, "edge");
    const std::string text = TickText(east.At(i), east);
    const double half = TextWidth(text) / 2, middle = std::min(x, svg.Width() - half);
    if (middle - half < free) continue;
    svg.Text(middle, area.Bottom() + 17, text, "axis", "middle");
    free = middle + half + 6;
  }
  free = 1e9;
  const AxisTicks north = TicksOf(map.fY0, map.fY0 + area.fHeight / map.fScale, most(area.fHeight));
  for (int i = 0; i < north.nNum; ++i) {
    const double y = map.At(map.fX0, north.At(i)).y;
    svg.Line(area.fLeft - 4, y, area.fLeft, y, "edge");
    const std::string text = TickText(north.At(i), north);
    const double half = TextWidth(text) / 2, middle = std::max(y, area.fTop - 8 + half);
    if (middle + half > free) continue;
    svg.Text(area.fLeft - 8, middle, text, "axis", "middle", -90);
    free = middle - half - 6;
  }
}

double DrawScaleBar(Svg& svg, const Map& map, double x, double y, double most) {
  const double length = RoundBelow(most / map.fScale), pixels = length * map.fScale;
  svg.Line(x, y, x + pixels, y, "edge");
  svg.Line(x, y - 4, x, y + 4, "edge");
  svg.Line(x + pixels, y - 4, x + pixels, y + 4, "edge");
  const std::string text = RoundText(length) + " " + map.pUnit;
  svg.Text(x + pixels + 6, y + kHalfText, text, "text");
  return pixels + 6 + TextWidth(text);
}

void DrawNorthArrow(Svg& svg, double x, double y) {
  svg.Arrow(x, y + 10, 0, -18, "edge");
  svg.Text(x + 6, y + kHalfText, "N", "text");
}

double RoundBelow(double value) {
  if (!(value > 1e-200) || !std::isfinite(value)) return 1;
  const double power = std::pow(10, std::floor(std::log10(value) + 1e-9));
  for (const double factor : {5.0, 2.0}) {
    if (factor * power <= value * (1 + 1e-9)) return factor * power;
  }
  return power;
}

std::string RoundText(double value) {
  return value >= 1e9 || value < 1e-6 ? Significant(value, 1) : Thousands(value, DecimalsOf(value, 1));
}

double LegendHeight(const std::vector<LegendEntry>& entries, double width) {
  double height = 0;
  for (const Pair& place : LegendPlaces(entries, width)) height = std::max(height, place.y + kLegendRow);
  return height;
}

double DrawLegend(Svg& svg, const std::vector<LegendEntry>& entries, double x, double y, double width) {
  const auto places = LegendPlaces(entries, width);
  for (size_t i = 0; i < entries.size(); ++i) {
    DrawSample(svg, entries[i], x + places[i].x, y + places[i].y);
    svg.Text(x + places[i].x + kLegendText, y + places[i].y + kHalfText, entries[i].szText, "text");
  }
  return LegendHeight(entries, width);
}

}  // namespace orvo::report
