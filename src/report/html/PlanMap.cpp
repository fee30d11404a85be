#include "report/html/PlanMap.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <tuple>

#include "report/html/LengthUnit.h"
#include "report/html/ShortName.h"

namespace orvo::report {
namespace {

constexpr double kTop = 10, kMostHeight = 540, kMargin = 0.065, kBar = 36, kLegend = 62;
constexpr size_t kMostPoints = 2000;
constexpr int kMostLetters = 16;

}  // namespace

Map PlanMapOf(const RunFigures& figures) {
  std::vector<double> x, y;
  for (const ImageFigure& image : figures.vImages) {
    x.push_back(image.Centre.X);
    y.push_back(image.Centre.Y);
    if (!image.bHasFootprint) continue;
    for (const Pair& corner : image.Footprint) {
      x.push_back(corner.x);
      y.push_back(corner.y);
    }
  }
  for (const GroundPointFigure& point : figures.Ground.vPoints) {
    x.push_back(point.Given.X);
    y.push_back(point.Given.Y);
  }
  Triple low, high;
  std::tie(low.X, high.X) = UsualRange(std::move(x));
  std::tie(low.Y, high.Y) = UsualRange(std::move(y));
  Map map = MapBelow(low, high, kPlanLeft, kTop, kPlanWidth - kPlanLeft - 10, kMostHeight, kMargin);
  map.pUnit = LengthUnit(figures);
  return map;
}

void DrawGroundPoints(Svg& svg, const Map& map, const std::vector<GroundPointFigure>& points, LabelRoom& room,
                      size_t most, double size) {
  const size_t step = DrawnStep(points.size(), kMostPoints);
  for (size_t i = 0; i < points.size(); i += step) {
    const GroundPointFigure& point = points[i];
    const Pair at = map.At(point.Given.X, point.Given.Y);
    if (!IsInside(map, at)) continue;
    const std::string tip = (point.bControl ? "control point " : "check point ") + point.szName;
    if (point.bControl) {
      const std::array<Pair, 3> corners = {Pair{at.x - 6 * size, at.y + 4 * size},
                                           Pair{at.x + 6 * size, at.y + 4 * size},
                                           Pair{at.x, at.y - 7 * size}};
      svg.Polygon(corners, "mark", tip);
    } else {
      svg.Circle(at.x, at.y, 5 * size, "mark", tip);
    }
  }
  if (points.size() > most) return;
  // All marks first, so that no name lies over one.
  for (const GroundPointFigure& point : points) {
    const Pair at = map.At(point.Given.X, point.Given.Y);
    room.Block({at.x - 6 * size, at.y - 7 * size, 12 * size, 13 * size});
  }
  for (const GroundPointFigure& point : points) {
    const Pair at = map.At(point.Given.X, point.Given.Y);
    const std::string name = ShortName(point.szName, kMostLetters);
    const double width = TextWidth(name), away = 3 + 5 * size;
    const Box places[] = {{at.x + away, at.y - 7, width, 14},
                          {at.x - away - width, at.y - 7, width, 14},
                          {at.x - width / 2, at.y + away, width, 14},
                          {at.x - width / 2, at.y - away - 14, width, 14}};
    for (const Box& box : places) {
      if (!IsInside(map, {box.fLeft, box.fTop}) || !IsInside(map, {box.Right(), box.Bottom()})) continue;
      if (!room.Take(box)) continue;
      svg.Text(box.fLeft, box.fTop + 11, name, "text halo");
      break;
    }
  }
}

void AppendGroundLegend(const std::vector<GroundPointFigure>& points, std::vector<LegendEntry>& legend) {
  if (std::ranges::any_of(points, &GroundPointFigure::bControl)) {
    legend.push_back({LegendShape::Triangle, "mark", "control point"});
  }
  if (!std::ranges::all_of(points, &GroundPointFigure::bControl)) {
    legend.push_back({LegendShape::Ring, "mark", "check point"});
  }
}

double PlanHeight(const Map& map, const std::vector<LegendEntry>& legend) {
  return map.Area.Bottom() + kLegend + LegendHeight(legend, kPlanWidth - kPlanLeft);
}

void FinishPlan(Svg& svg, const Map& map, const std::vector<LegendEntry>& legend) {
  const double below = map.Area.Bottom() + kBar;
  const double bar = DrawScaleBar(svg, map, kPlanLeft, below, 130);
  DrawNorthArrow(svg, kPlanLeft + bar + 24, below);
  DrawLegend(svg, legend, kPlanLeft, map.Area.Bottom() + kLegend, kPlanWidth - kPlanLeft);
}

}  // namespace orvo::report
