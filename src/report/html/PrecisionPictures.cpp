#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "report/html/Frames.h"
#include "report/html/NameBars.h"
#include "report/html/Numbers.h"
#include "report/html/PrecisionParts.h"
#include "report/html/ShortName.h"
#include "report/html/Svg.h"

namespace orvo::report {
namespace {

constexpr size_t kDrawn = 200, kMany = 60, kNamed = 3, kBars = 15;
constexpr double kLeastReach = 4.5, kMostReach = 12;
constexpr int kLetters = 12;
constexpr Box kArea = {48, 28, 376, 200};

struct Axis {
  const char* pName;
  const char* pStyle;
  LegendShape Shape;
  double Triple::*pValue;
};

constexpr std::array kAxes = {Axis{"X", "area s1", LegendShape::Dot, &Triple::X},
                              Axis{"Y", "area s2", LegendShape::Square, &Triple::Y},
                              Axis{"Z", "area s3", LegendShape::Triangle, &Triple::Z}};

using Points = std::vector<const GroundPrecisionFigure*>;

// Those with a test value, the largest first.
Points TestedOf(std::span<const GroundPrecisionFigure* const> points, bool control) {
  Points tested;
  for (const GroundPrecisionFigure* point : points)
    if (point->bControl == control && LargestOf(point->Test) >= 0) tested.push_back(point);
  std::ranges::stable_sort(
      tested, [](const auto* a, const auto* b) { return LargestOf(a->Test) > LargestOf(b->Test); });
  if (tested.size() > kDrawn) tested.resize(kDrawn);
  return tested;
}

void DrawMark(Svg& svg, const Axis& axis, const Pair& at, double size, const std::string& tip) {
  if (axis.Shape == LegendShape::Dot) {
    svg.Circle(at.x, at.y, size, axis.pStyle, tip);
  } else if (axis.Shape == LegendShape::Square) {
    svg.Rect(at.x - size, at.y - size, 2 * size, 2 * size, axis.pStyle, tip);
  } else {
    const std::array<Pair, 3> corners = {Pair{at.x - 1.2 * size, at.y + size},
                                         Pair{at.x + 1.2 * size, at.y + size}, Pair{at.x, at.y - 1.2 * size}};
    svg.Polygon(corners, axis.pStyle, tip);
  }
}

class TestChart {
 public:
  TestChart(Svg& svg, double reach, double size)
      : pSvg(&svg), Frame{kArea, AxisOf(0, 1), AxisOf(-reach, reach)}, fReach(reach), fSize(size) {
    DrawAxes(svg, Frame, {"", "test value w", 0, 7});
    for (const double test : {-kCriticalTest, 0.0, kCriticalTest}) {
      const double y = Frame.At(0, test).y;
      svg.Line(kArea.fLeft, y, kArea.Right(), y, test == 0 ? "edge" : "zero");
    }
  }

  // Points side by side from the share `from` of the width to `to`.
  void Draw(const Points& points, double from, double to, const char* kind) {
    const double step = (to - from) / static_cast<double>(points.size());
    double rim = Frame.At(from, 0).x;
    for (size_t i = 0; i < points.size(); ++i) {
      const double x = Frame.At(from + step * (static_cast<double>(i) + 0.5), 0).x;
      for (const Axis& axis : kAxes) DrawTest(*points[i], axis, x);
      if (i < kNamed && IsBeyondTest(points[i]->Test)) DrawName(*points[i], x, Frame.At(to, 0).x, rim);
    }
    pSvg->Text(Frame.At((from + to) / 2, 0).x, kArea.Bottom() + 16, kind, "axis", "middle");
  }

 private:
  void DrawTest(const GroundPrecisionFigure& point, const Axis& axis, double x) {
    const double test = point.Test.*axis.pValue;
    if (!std::isfinite(test)) return;
    const double y = Frame.At(0, std::clamp(test, -fReach, fReach)).y;
    DrawMark(*pSvg, axis, {x, y}, fSize,
             fmt::format("{}, {}: {}", point.szPoint, axis.pName, Signed(test, 2)));
  }

  // Along the upper rim, where no other name stands, with a line down to the
  // point.
  void DrawName(const GroundPrecisionFigure& point, double x, double right, double& rim) {
    const std::string name = "! " + ShortName(point.szPoint, kLetters);
    const double left = std::max(x - 3, rim);
    if (left + TextWidth(name) > right) return;
    pSvg->Text(left, kArea.fTop + 13, name, "text strong");
    rim = left + TextWidth(name) + 8;
  }

  Svg* pSvg;
  Chart Frame;
  double fReach, fSize;
};

double ReachOf(const Points& control, const Points& check) {
  double most = 0;
  for (const Points* points : {&control, &check})
    if (!points->empty()) most = std::max(most, LargestOf(points->front()->Test));
  return std::clamp(1.35 * most, kLeastReach, kMostReach);
}

double MedianOf(const Points& points) { return points[points.size() / 2]->Deviation.Z; }

}  // namespace

std::string TestPicture(std::span<const GroundPrecisionFigure* const> points) {
  const Points control = TestedOf(points, true), check = TestedOf(points, false);
  const size_t all = control.size() + check.size();
  if (all == 0) return {};
  Svg svg(440, 288, "Test values of control and check points",
          "For each point the test values of X, Y and Z, control points to the "
          "left, check points to the right, "
          "the largest first. Dashed lines stand at 3.29 either way.");
  TestChart chart(svg, ReachOf(control, check), all > kMany ? 2 : 3.5);
  double part = static_cast<double>(control.size()) / static_cast<double>(all);
  if (!control.empty() && !check.empty()) part = std::clamp(part, 0.25, 0.75);
  if (!control.empty()) chart.Draw(control, 0, part, "control");
  if (!check.empty()) chart.Draw(check, part, 1, "check");
  if (!control.empty() && !check.empty()) {
    const double x = kArea.fLeft + part * kArea.fWidth;
    svg.Line(x, kArea.fTop, x, kArea.Bottom() + 20, "edge");
  }
  std::vector<LegendEntry> legend;
  legend.reserve(kAxes.size() + 1);
  for (const Axis& axis : kAxes) legend.push_back({axis.Shape, axis.pStyle, axis.pName});
  legend.push_back({LegendShape::Line, "zero", "3.29 either way"});
  DrawLegend(svg, legend, kArea.fLeft, 270, kArea.fWidth);
  return std::move(svg).Finish();
}

std::string HeightPicture(std::span<const GroundPrecisionFigure* const> points, const char* unit) {
  Points known;
  for (const GroundPrecisionFigure* point : points)
    if (std::isfinite(point->Deviation.Z) && point->Deviation.Z > 0) known.push_back(point);
  if (known.size() < 2) return {};
  std::ranges::stable_sort(known,
                           [](const auto* a, const auto* b) { return a->Deviation.Z > b->Deviation.Z; });
  const double median = MedianOf(known);
  const int decimals = std::clamp(DecimalsOf(median, 2), 1, 6);
  if (known.size() > kBars) known.resize(kBars);
  std::vector<NameBar> bars;
  for (const GroundPrecisionFigure* point : known) {
    const double deviation = point->Deviation.Z;
    bars.push_back(
        {fmt::format("{} ({})", ShortName(point->szPoint, kLetters), point->bControl ? "control" : "check"),
         deviation, fmt::format("{} {}", Fixed(deviation, decimals), unit)});
  }
  return NameBars(bars, {median, "median"}, "Standard deviations of heights",
                  "A bar for each point: the standard deviation of its "
                  "adjusted height, the largest first.");
}

}  // namespace orvo::report
