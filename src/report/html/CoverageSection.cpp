#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "report/html/Extent.h"
#include "report/html/HtmlParts.h"
#include "report/html/LengthUnit.h"
#include "report/html/Numbers.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

constexpr double kWidth = 640, kLeft = 34, kTop = 10, kMostHeight = 560, kBelow = 60;
constexpr size_t kMostCells = 10000;

struct Step {
  double fBelow;  ///< rays a point in the mean
  LegendShape Shape;
  const char* pStyle;
  const char* pText;
};
constexpr std::array<Step, 6> kSteps = {{{2.5, LegendShape::Crossed, "area h0 cells", "below 2.5"},
                                         {3, LegendShape::Hatched, "area h1 cells", "2.5 to 3"},
                                         {4, LegendShape::Area, "area h2 cells", "3 to 4"},
                                         {6, LegendShape::Area, "area h3 cells", "4 to 6"},
                                         {9, LegendShape::Area, "area h4 cells", "6 to 9"},
                                         {1e300, LegendShape::Area, "area h5 cells", "9 and more"}}};

size_t StepOf(const GroundCell& cell) {
  const double rays =
      static_cast<double>(cell.nRays) / static_cast<double>(std::max<int64_t>(cell.nPoints, 1));
  size_t step = 0;
  while (step + 1 < kSteps.size() && rays >= kSteps[step].fBelow) ++step;
  return step;
}

void DrawCells(Svg& svg, const Map& map, const DrawnCells& cells) {
  std::array<SvgPath, kSteps.size()> areas;
  SvgPath strokes;
  for (const GroundCell& cell : cells.vCells) {
    if (cell.nPoints <= 0) continue;
    const Box box = BoxOf(map, cells, cell);
    if (!IsInside(map, {box.fLeft + box.fWidth / 2, box.fTop + box.fHeight / 2})) continue;
    const size_t step = StepOf(cell);
    areas[step].Rect(box.fLeft, box.fTop, box.fWidth, box.fHeight);
    if (kSteps[step].Shape == LegendShape::Area) continue;
    strokes.Line(box.fLeft, box.Bottom(), box.Right(), box.fTop);
    if (kSteps[step].Shape == LegendShape::Crossed)
      strokes.Line(box.fLeft, box.fTop, box.Right(), box.Bottom());
  }
  for (size_t step = 0; step < kSteps.size(); ++step) svg.Path(areas[step].Text(), kSteps[step].pStyle);
  svg.Path(strokes.Text(), "hatch");
}

std::string HeatMap(const PointFigures& points, const char* unit) {
  const DrawnCells cells = CellsToDraw(points, kMostCells);
  Map map = MapOfCells(points, cells, kLeft, kTop, kWidth - kLeft - 10, kMostHeight);
  map.pUnit = unit;
  std::vector<LegendEntry> legend;
  legend.reserve(kSteps.size());
  for (const Step& step : kSteps) legend.push_back({step.Shape, step.pStyle, step.pText});
  const double height = map.Area.Bottom() + kBelow + LegendHeight(legend, kWidth - kLeft);
  Svg svg(kWidth, height, "Rays a tie point on the ground",
          fmt::format("Map of the block in squares of {} {}, coloured by the mean number of images in which "
                      "the tie points of a square were measured. {} % of the squares have fewer than 3.",
                      Short(cells.fSize), unit, Fixed(points.fCellsBelow3, 1)));
  DrawCells(svg, map, cells);
  DrawMapFrame(svg, map);
  const double below = map.Area.Bottom() + 36;
  const double bar = DrawScaleBar(svg, map, kLeft, below, 130);
  DrawNorthArrow(svg, kLeft + bar + 24, below);
  DrawLegend(svg, legend, kLeft, below + 24, kWidth - kLeft);
  std::string caption = fmt::format(
      "Rays a tie point in squares of {} {}: in how many images a point of the square was measured and kept, "
      "in the mean. More is better. With fewer than 3 (crossed out or struck) a wrong measurement can hardly "
      "be found; squares without a tie point, such as water, stay empty.",
      Short(cells.fSize), unit);
  if (cells.nMerged > 1) {
    caption += fmt::format(" For drawing, {} by {} squares of {} {} were taken together.", cells.nMerged,
                           cells.nMerged, Short(points.fCellSize), unit);
  }
  return FigureOf(std::move(svg).Finish(), caption, "plate");
}

}  // namespace

std::string CoverageSection(const RunFigures& figures) {
  const PointFigures& points = figures.Points;
  if (points.vCells.empty() || !(points.fCellSize > 0)) return {};
  HtmlTable table({{"Coverage"}, {"", true}});
  table.Row({"Tie points with fewer than 3 rays", Fixed(points.fShareBelow3, 1) + " %"});
  table.Row({"Squares of the ground with fewer than 3 rays a point", Fixed(points.fCellsBelow3, 1) + " %"});
  table.Row({"Squares with tie points", Thousands(static_cast<int64_t>(points.vCells.size()))});
  table.Row({"Edge of a square", Short(points.fCellSize) + " " + LengthUnit(figures)});
  table.Row({"Rays a tie point in the mean", Fixed(points.fMeanRays, 2)});
  std::string text = Paragraph(
      "A ray is one measurement of a point in one image. Two rays give a point, the third checks it, and "
      "every further one makes it better and ties the images together. Weak rims are usual; weak spots "
      "within the block are where images are missing, overlap too little, or show ground on which nothing "
      "could be matched.");
  text += std::move(table).Finish();
  return SectionOf("coverage", "Coverage of the ground",
                   SideBySide(HeatMap(points, LengthUnit(figures)) + "<div>\n" + text + "</div>\n"));
}

}  // namespace orvo::report
