#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "report/html/Extent.h"
#include "report/html/HtmlParts.h"
#include "report/html/LengthUnit.h"
#include "report/html/Numbers.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

constexpr double kWidth = 520, kHeight = 290;
constexpr Box kArea = {56, 32, kWidth - 72, kHeight - 32 - 48};
constexpr double kMapWidth = 640, kMapLeft = 34, kMapTop = 10, kMapHeight = 560, kMapBelow = 62;
constexpr size_t kMostCells = 10000, kHeightSteps = 7;

int64_t CountOf(const Histogram& histogram) {
  int64_t sum = histogram.nBelow + histogram.nAbove;
  for (const int64_t count : histogram.vCounts) sum += count;
  return sum;
}

/// Bars with the share of all in percent. What lies above the last step is a bar of its own, set apart.
std::string Bars(const Histogram& histogram, const char* title, const std::string& described,
                 const char* unit, const std::function<std::string(size_t)>& range, bool counts) {
  const int64_t all = CountOf(histogram);
  const size_t bars = histogram.vCounts.size();
  int64_t most = histogram.nAbove;
  for (const int64_t count : histogram.vCounts) most = std::max(most, count);
  const auto share = [&](int64_t count) {
    return 100.0 * static_cast<double>(count) / static_cast<double>(all);
  };
  Svg svg(kWidth, kHeight, title, described);
  // Values that are whole numbers stand in the middle of their bar.
  const double shift = counts ? histogram.fStep / 2 : 0;
  const bool more = histogram.nAbove > 0;
  const auto placeOf = [&](size_t k) {
    return histogram.fFirst + histogram.fStep * static_cast<double>(k) - shift;
  };
  const Chart chart{kArea, AxisOf(placeOf(0), placeOf(more ? bars + 2 : bars)), {0, 1.08 * share(most)}};
  DrawAxes(svg, chart, {unit, "Share of the points, %"});
  const auto draw = [&](size_t place, int64_t count, const char* style, const std::string& what) {
    const Pair low = chart.At(placeOf(place), 0), high = chart.At(placeOf(place + 1), share(count));
    svg.Rect(low.x + 0.5, high.y, std::max(high.x - low.x - 1, 0.5), low.y - high.y, style,
             fmt::format("{}: {} ({})", what, Counted(count, "point"), Share(count, all)));
    return high;
  };
  for (size_t k = 0; k < bars; ++k) {
    if (histogram.vCounts[k] > 0) draw(k, histogram.vCounts[k], "area s1", range(k));
  }
  if (more) {
    const Pair corner = draw(bars + 1, histogram.nAbove, "area s6", "more");
    svg.Text(corner.x, corner.y - 5, "more", "axis", "end");
  }
  return std::move(svg).Finish();
}

std::string RayFigure(const PointFigures& points) {
  if (CountOf(points.Rays) == 0) return {};
  const auto first = static_cast<int64_t>(std::llround(points.Rays.fFirst));
  return FigureOf(
      Bars(
          points.Rays, "Rays a tie point",
          fmt::format("Histogram; {} rays in the mean.", Fixed(points.fMeanRays, 2)), "Rays a point",
          [&](size_t k) { return fmt::format("{} rays", first + static_cast<int64_t>(k)); }, true),
      fmt::format("In how many images a tie point was measured and kept; {} in the mean. The further right, "
                  "the better: points with two rays only can't be checked.",
                  Fixed(points.fMeanRays, 2)));
}

std::string AngleFigure(const PointFigures& points) {
  if (CountOf(points.Angles) == 0) return {};
  return FigureOf(
      Bars(
          points.Angles, "Intersection angles",
          fmt::format("Histogram; the median is {} degrees.", Fixed(points.fMedianAngle, 1)),
          "Largest angle between two rays, degrees",
          [&](size_t k) {
            const double from = points.Angles.fFirst + points.Angles.fStep * static_cast<double>(k);
            return fmt::format("{} to {} degrees", Significant(from, 3),
                               Significant(from + points.Angles.fStep, 3));
          },
          false),
      fmt::format("Under which angle the rays of a point meet; half of the points have more than {} degrees. "
                  "Angles of a few degrees leave heights weak; 30 degrees and more are sound.",
                  Fixed(points.fMedianAngle, 1)));
}

std::array<double, kHeightSteps + 1> HeightLimits(const DrawnCells& cells) {
  std::vector<double> heights;
  for (const GroundCell& cell : cells.vCells) heights.push_back(cell.fMeanZ);
  const auto [low, high] = UsualRange(std::move(heights));
  const ChartAxis axis = AxisOf(low, high);
  std::array<double, kHeightSteps + 1> limits{};
  for (size_t k = 0; k <= kHeightSteps; ++k) {
    limits[k] = axis.fLow + (axis.fHigh - axis.fLow) * static_cast<double>(k) / kHeightSteps;
  }
  return limits;
}

std::vector<LegendEntry> LegendOf(const std::array<double, kHeightSteps + 1>& limits, const char* unit) {
  const int decimals = DecimalsOf((limits.back() - limits.front()) / kHeightSteps, 2);
  std::vector<LegendEntry> legend;
  for (size_t k = 0; k < kHeightSteps; ++k) {
    legend.push_back(
        {LegendShape::Area, fmt::format("area z{} cells", k),
         fmt::format("{} to {} {}", Fixed(limits[k], decimals), Fixed(limits[k + 1], decimals), unit)});
  }
  return legend;
}

std::string HeightMap(const PointFigures& points, const char* unit) {
  if (points.vCells.empty() || !(points.fCellSize > 0)) return {};
  const DrawnCells cells = CellsToDraw(points, kMostCells);
  Map map = MapOfCells(points, cells, kMapLeft, kMapTop, kMapWidth - kMapLeft - 10, kMapHeight);
  map.pUnit = unit;
  const auto limits = HeightLimits(cells);
  const auto legend = LegendOf(limits, unit);
  Svg svg(
      kMapWidth, map.Area.Bottom() + kMapBelow + LegendHeight(legend, kMapWidth - kMapLeft),
      "Heights of the tie points",
      fmt::format("Map of the mean height of the tie points in squares of {1} {0}, from {2} {0} to {3} {0}.",
                  unit, Short(cells.fSize), Fixed(limits.front(), 1), Fixed(limits.back(), 1)));
  std::array<SvgPath, kHeightSteps> areas;
  for (const GroundCell& cell : cells.vCells) {
    const Box box = BoxOf(map, cells, cell);
    if (cell.nPoints <= 0 || !std::isfinite(cell.fMeanZ)) continue;
    if (!IsInside(map, {box.fLeft + box.fWidth / 2, box.fTop + box.fHeight / 2})) continue;
    size_t step = 0;
    while (step + 1 < kHeightSteps && cell.fMeanZ >= limits[step + 1]) ++step;
    areas[step].Rect(box.fLeft, box.fTop, box.fWidth, box.fHeight);
  }
  for (size_t k = 0; k < kHeightSteps; ++k) svg.Path(areas[k].Text(), legend[k].szStyle.c_str());
  DrawMapFrame(svg, map);
  const double below = map.Area.Bottom() + 36;
  const double bar = DrawScaleBar(svg, map, kMapLeft, below, 130);
  DrawNorthArrow(svg, kMapLeft + bar + 24, below);
  DrawLegend(svg, legend, kMapLeft, below + 24, kMapWidth - kMapLeft);
  return FigureOf(std::move(svg).Finish(),
                  fmt::format("Mean height of the tie points in squares of {} {}. It should look like the "
                              "ground: single squares that stand out, steps along strips or a bowl where the "
                              "ground is flat are signs of wrong measurements, a weak tie or a wrong camera. "
                              "Beyond the first and last step lie a few squares at most.",
                              Short(cells.fSize), unit),
                  "plate");
}

std::string PointTable(const RunFigures& figures) {
  const PointFigures& points = figures.Points;
  HtmlTable table({{"Tie points"}, {"Number", true}, {"Share", true}});
  const auto row = [&](const char* name, int64_t count) {
    table.Row({name, Thousands(count), Share(count, points.nPoints, 2)});
  };
  if (figures.Counts.nTiePointsInFile > points.nPoints) {
    table.Row({"In the file", Thousands(figures.Counts.nTiePointsInFile)});
  }
  table.Row({"Taking part", Thousands(points.nPoints)});
  row("Not intersected: fewer than two rays that serve", points.nNotIntersected);
  row("Behind a camera that measured them, which no real point is", points.nNotInFront);
  table.Row({"Fewer than 3 rays", "", Fixed(points.fShareBelow3, 1) + " %"});
  table.Row({"Rays a point in the mean", Fixed(points.fMeanRays, 2)});
  table.Row({"Median of the intersection angles, degrees", Fixed(points.fMedianAngle, 1)});
  return std::move(table).Finish();
}

}  // namespace

std::string PointSection(const RunFigures& figures) {
  if (figures.Points.nPoints == 0) return {};
  return SectionOf("point", "Tie points",
                   SideBySide(RayFigure(figures.Points) + AngleFigure(figures.Points) +
                              HeightMap(figures.Points, LengthUnit(figures)) + "<div>\n" +
                              PointTable(figures) + "</div>\n"));
}

}  // namespace orvo::report
