#include "report/html/GroundPictures.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "report/html/Frames.h"
#include "report/html/Numbers.h"
#include "report/html/ShortName.h"
#include "report/html/Svg.h"

namespace orvo::report {

namespace {

constexpr double kReach = 5;  // times the median
constexpr double kArrow = 14, kApart = 0.6;
constexpr size_t kNamed = 12, kMany = 150;
constexpr int kLetters = 14;
constexpr const char* kControl = "dot s2";
constexpr const char* kCheck = "dot s1";

bool IsDrawn(const GroundPointFigure& point) {
  const Triple& d = point.Difference;
  return point.bIntersected && std::isfinite(std::hypot(d.X, d.Y)) && std::isfinite(d.Z);
}

// Half the side of a square that holds the values, or most of them where some stray.
double ReachOf(std::vector<double> sizes) {
  std::ranges::sort(sizes);
  const double median = sizes[sizes.size() / 2], largest = sizes.back();
  const double reach = median > 0 ? std::min(largest, kReach * median) : largest;
  return reach > 0 ? 1.1 * reach : 1;
}

// Where a value is drawn: at its place, or at the rim in its direction.
struct Place {
  Pair At;
  bool bBeyond = false;
};

Place PlaceOf(const Chart& chart, const Pair& value) {
  const double share = std::max(std::abs(value.x) / chart.X.fHigh, std::abs(value.y) / chart.Y.fHigh);
  return share > 1 ? Place{chart.At(value.x / share, value.y / share), true}
                   : Place{chart.At(value.x, value.y), false};
}

void DrawPoint(Svg& svg, const GroundPointFigure& point, const Pair& at, double size, std::string_view tip) {
  if (!point.bControl) {
    svg.Circle(at.x, at.y, size, kCheck, tip);
    return;
  }
  const double foot = at.y + size;
  const std::array<Pair, 3> corners = {Pair{at.x - 1.25 * size, foot}, Pair{at.x + 1.25 * size, foot},
                                       Pair{at.x, at.y - 1.25 * size}};
  svg.Polygon(corners, kControl, tip);
}

double SizeFor(size_t points) { return points > kMany ? 2.5 : 4; }

// An arrow that ends at the rim.
void DrawBeyond(Svg& svg, const GroundPointFigure& point, const Pair& rim, const Pair& from,
                std::string_view tip) {
  const double share = kArrow / std::hypot(rim.x - from.x, rim.y - from.y);
  const double dx = share * (rim.x - from.x), dy = share * (rim.y - from.y);
  svg.Arrow(rim.x - dx, rim.y - dy, dx, dy, point.bControl ? "line s2 thick" : "line s1 thick", tip);
}

std::string TipOf(const GroundPointFigure& point) {
  const Triple& d = point.Difference;
  return fmt::format("{}: {} / {} / {} m", point.szName, Signed(d.X, 3), Signed(d.Y, 3), Signed(d.Z, 3));
}

// Names beside their points, in the picture and apart from each other.
class Names {
 public:
  void Draw(Svg& svg, const GroundPointFigure& point, const Pair& at, const Box& area) {
    const std::string name = ShortName(point.szName, kLetters);
    const double width = TextWidth(name);
    const bool left = at.x + 8 + width > area.Right(), below = at.y > area.fTop + area.fHeight / 2;
    const double x = left ? at.x - 8 - width : at.x + 8;
    const double y = std::clamp(below ? at.y + 15 : at.y - 7, area.fTop + 12, area.Bottom() - 5);
    for (const Pair& other : vDrawn)
      if (std::abs(other.y - y) < 14 && std::abs(other.x - x) < kLetters * TextWidth("x")) return;
    vDrawn.push_back({x, y});
    svg.Text(left ? at.x - 8 : x, y, name, "text", left ? "end" : "start");
  }

 private:
  std::vector<Pair> vDrawn;
};

void DrawPlan(Svg& svg, const std::vector<const GroundPointFigure*>& points, const GroundFigures& ground,
              double reach) {
  const Chart chart{{52, 30, 226, 226}, AxisOf(-reach, reach), AxisOf(-reach, reach)};
  DrawAxes(svg, chart, {"to the east (X), m", "to the north (Y), m", 5, 7});
  const Pair zero = chart.At(0, 0);
  svg.Line(chart.Area.fLeft, zero.y, chart.Area.Right(), zero.y, "zero");
  svg.Line(zero.x, chart.Area.fTop, zero.x, chart.Area.Bottom(), "zero");
  Names names;
  for (size_t i = 0; i < points.size(); ++i) {
    const Triple& d = points[i]->Difference;
    const Place place = PlaceOf(chart, {d.X, d.Y});
    if (place.bBeyond)
      DrawBeyond(svg, *points[i], place.At, zero, TipOf(*points[i]));
    else
      DrawPoint(svg, *points[i], place.At, SizeFor(points.size()), TipOf(*points[i]));
    const bool apart = std::hypot(place.At.x - zero.x, place.At.y - zero.y) > kApart * chart.Area.fWidth / 2;
    if (apart && i < kNamed) names.Draw(svg, *points[i], place.At, chart.Area);
  }
  const auto circle = [&](double rmse, const char* style, const char* kind) {
    if (!(rmse > 0) || !(rmse <= reach)) return;
    svg.Circle(zero.x, zero.y, chart.Area.fWidth * rmse / (2 * reach), style,
               fmt::format("RMSE of {} points: {} m", kind, Fixed(rmse, 3)));
  };
  circle(ground.Control.fHorizontal, "line s2 dashed", "control");
  circle(ground.Check.fHorizontal, "line s1", "check");
}

void DrawHeights(Svg& svg, const std::vector<const GroundPointFigure*>& points, const GroundFigures& ground,
                 double reach) {
  const Chart chart{{334, 30, 100, 226}, AxisOf(-2, 2), AxisOf(-reach, reach)};
  DrawAxes(svg, chart, {"", "height (Z), m", 0, 7});
  const Pair zero = chart.At(-2, 0);
  svg.Line(zero.x, zero.y, chart.Area.Right(), zero.y, "zero");
  size_t place = 0;
  for (const GroundPointFigure* point : points) {
    // Side by side in no order, as far as the column is wide.
    const double part = static_cast<double>(place++ * 3 % 7) / 6 - 0.5;
    const double x = (point->bControl ? -1 : 1) + 1.4 * part;
    const Place at = PlaceOf(chart, {0, point->Difference.Z});
    const Pair foot = chart.At(x, 0);
    if (at.bBeyond)
      DrawBeyond(svg, *point, {foot.x, at.At.y}, foot, TipOf(*point));
    else
      DrawPoint(svg, *point, {foot.x, at.At.y}, SizeFor(points.size()), {});
  }
  const auto line = [&](double middle, double rmse, const char* style) {
    if (!(rmse > 0) || !(rmse <= reach)) return;
    for (const double side : {-1.0, 1.0}) {
      const Pair at = chart.At(middle, side * rmse);
      svg.Line(at.x - 22, at.y, at.x + 22, at.y, style);
    }
  };
  line(-1, ground.Control.Rmse.Z, "line s2 dashed");
  line(1, ground.Check.Rmse.Z, "line s1");
  svg.Text(chart.At(-1, 0).x, chart.Area.Bottom() + 16, "control", "axis", "middle");
  svg.Text(chart.At(1, 0).x, chart.Area.Bottom() + 16, "check", "axis", "middle");
}

}  // namespace

std::string DifferencePicture(const std::vector<const GroundPointFigure*>& points,
                              const GroundFigures& ground) {
  std::vector<const GroundPointFigure*> drawn;
  std::vector<double> plan, height;
  for (const GroundPointFigure* point : points) {
    if (!IsDrawn(*point)) continue;
    drawn.push_back(point);
    plan.push_back(std::hypot(point->Difference.X, point->Difference.Y));
    height.push_back(std::abs(point->Difference.Z));
  }
  if (drawn.empty()) return {};
  Svg svg(440, 340, "Differences of control and check points",
          "Left: differences to the east and north about 0, with circles of the horizontal RMSE. Right: "
          "differences in "
          "height, with lines of the RMSE.");
  DrawPlan(svg, drawn, ground, ReachOf(std::move(plan)));
  DrawHeights(svg, drawn, ground, ReachOf(std::move(height)));
  DrawLegend(svg,
             {{LegendShape::Triangle, kControl, "control"},
              {LegendShape::Dot, kCheck, "check"},
              {LegendShape::Line, "line s2 dashed", "RMSE control"},
              {LegendShape::Line, "line s1", "RMSE check"}},
             52, 324, 388);
  return std::move(svg).Finish();
}

}  // namespace orvo::report
