#include "report/html/DifferencePlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "report/html/Extent.h"
#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/PlanMap.h"

namespace orvo::report {
namespace {

/// Most differences are drawn about that long, and none longer than the second, pixels.
constexpr double kUsual = 44, kLongest = 110;
constexpr size_t kMostPoints = 2000, kMostNames = 40, kMostCentres = 5000;
constexpr double kSampleRow = 24;

struct Scale {
  double fPixels = 0;  ///< of an object unit
  double fTimes = 0;   ///< larger than the map
};

bool HasDifference(const GroundPointFigure& point) {
  const Triple& d = point.Difference;
  return point.bIntersected && std::isfinite(d.X) && std::isfinite(d.Y) && std::isfinite(d.Z);
}

/// A round number of times larger than the map, so that three quarters of the differences are short.
Scale ScaleOf(const Map& map, const std::vector<GroundPointFigure>& points) {
  std::vector<double> sizes;
  for (const GroundPointFigure& point : points) {
    if (!HasDifference(point)) continue;
    sizes.push_back(
        std::max(std::hypot(point.Difference.X, point.Difference.Y), std::fabs(point.Difference.Z)));
  }
  if (sizes.empty()) return {};
  std::ranges::sort(sizes);
  const double usual = sizes[(sizes.size() - 1) * 3 / 4];
  if (!(usual > 0)) return {map.fScale, 1};
  const double times = RoundBelow(kUsual / (usual * map.fScale));
  return {times * map.fScale, times};
}

/// The share of a vector from `at`, within the map, that is not too long and stays in the map.
double Shortening(const Map& map, const Pair& at, double dx, double dy) {
  double share = std::min(1.0, kLongest / std::max(std::hypot(dx, dy), 1e-9));
  const auto within = [&](double from, double by, double low, double high) {
    if (from + by > high) share = std::min(share, (high - from) / by);
    if (from + by < low) share = std::min(share, (low - from) / by);
  };
  within(at.x, dx, map.Area.fLeft, map.Area.Right());
  within(at.y, dy, map.Area.fTop, map.Area.Bottom());
  return share;
}

/// What is drawn at a point, pixels.
struct Vector {
  const GroundPointFigure* pPoint = nullptr;
  Pair At, Plan;
  double fHeight = 0;
  bool bPlanCut = false, bHeightCut = false;
};

std::vector<Vector> VectorsOf(const Map& map, const std::vector<GroundPointFigure>& points,
                              const Scale& scale) {
  std::vector<Vector> vectors;
  const size_t step = DrawnStep(points.size(), kMostPoints);
  for (size_t i = 0; i < points.size(); i += step) {
    const Triple& d = points[i].Difference;
    const Pair at = map.At(points[i].Given.X, points[i].Given.Y);
    if (!HasDifference(points[i]) || !IsInside(map, at)) continue;
    const double dx = scale.fPixels * d.X, dy = -scale.fPixels * d.Y, dz = -scale.fPixels * d.Z;
    const double plan = Shortening(map, at, dx, dy), height = Shortening(map, at, 0, dz);
    vectors.push_back({&points[i], at, {plan * dx, plan * dy}, height * dz, plan < 1, height < 1});
  }
  return vectors;
}

void KeepFree(const std::vector<Vector>& vectors, LabelRoom& room) {
  for (const Vector& v : vectors) {
    const auto between = [&](double dx, double dy, double around) {
      room.Block({v.At.x + std::min(dx, 0.0) - around, v.At.y + std::min(dy, 0.0) - around,
                  std::fabs(dx) + 2 * around, std::fabs(dy) + 2 * around});
    };
    between(v.Plan.x, v.Plan.y, 2);
    between(0, v.fHeight, 3);
  }
}

void DrawVectors(Svg& svg, const std::vector<Vector>& vectors) {
  for (const Vector& v : vectors) {
    const Triple& d = v.pPoint->Difference;
    const std::string tip = fmt::format("{}: {} m east, {} m north, {} m up", v.pPoint->szName,
                                        Signed(d.X, 3), Signed(d.Y, 3), Signed(d.Z, 3));
    svg.Line(v.At.x, v.At.y, v.At.x, v.At.y + v.fHeight, v.bHeightCut ? "bar s1 dashed" : "bar s1", tip);
    svg.Arrow(v.At.x, v.At.y, v.Plan.x, v.Plan.y, v.bPlanCut ? "line thick s2 dashed" : "line thick s2", tip);
  }
}

void DrawCentres(Svg& svg, const Map& map, const std::vector<ImageFigure>& images) {
  SvgPath centres;
  const size_t step = DrawnStep(images.size(), kMostCentres);
  for (size_t i = 0; i < images.size(); i += step) {
    const Pair at = map.At(images[i].Centre.X, images[i].Centre.Y);
    if (IsInside(map, at)) centres.Dot(at.x, at.y);
  }
  svg.Path(centres.Text(), "dots small weak plain");
}

std::string CaptionOf(const Scale& scale, const std::vector<Vector>& vectors, size_t points) {
  std::string text = fmt::format(
      "How far the block is from the given coordinates at control and check points (computed less given): "
      "arrows show where to in plan, bars how much too high (up) or too low (down). They are drawn {} times "
      "larger than the map. Arrows that point all ways are chance; neighbours that point the same way are "
      "not.",
      RoundText(scale.fTimes));
  if (std::ranges::any_of(vectors, [](const Vector& v) { return v.bPlanCut || v.bHeightCut; })) {
    text += " Dashed ones are longer than they could be drawn.";
  }
  if (points > kMostPoints) {
    text += fmt::format(" Drawn are {} of {} points.", Thousands(static_cast<int64_t>(vectors.size())),
                        Thousands(static_cast<int64_t>(points)));
  }
  return text;
}

void DrawSamples(Svg& svg, const Scale& scale, double y) {
  const double length = RoundBelow(60 / scale.fPixels), pixels = length * scale.fPixels;
  double x = kPlanLeft;
  const std::string text = RoundText(length) + " m in plan", up = RoundText(length) + " m in height";
  svg.Arrow(x, y, pixels, 0, "line thick s2");
  svg.Text(x + pixels + 6, y + 4, text, "text");
  x += pixels + 6 + TextWidth(text) + 20;
  svg.Line(x, y, x + pixels, y, "bar s1");
  svg.Text(x + pixels + 6, y + 4, up, "text");
}

}  // namespace

std::string DifferencePlan(const RunFigures& figures) {
  const auto& points = figures.Ground.vPoints;
  const Map map = PlanMapOf(figures);
  const Scale scale = ScaleOf(map, points);
  if (!(scale.fPixels > 0)) return {};
  std::vector<LegendEntry> legend;
  AppendGroundLegend(points, legend);
  const double height = PlanHeight(map, legend);
  Svg svg(kPlanWidth, height + kSampleRow, "Differences at control and check points",
          fmt::format("Map with an arrow for the horizontal difference and a bar for that in height at each "
                      "point, drawn {} times larger than the map.",
                      RoundText(scale.fTimes)));
  DrawMapFrame(svg, map);
  DrawCentres(svg, map, figures.vImages);
  const std::vector<Vector> vectors = VectorsOf(map, points, scale);
  LabelRoom room;
  KeepFree(vectors, room);
  DrawGroundPoints(svg, map, points, room, kMostNames, 0.6);
  DrawVectors(svg, vectors);
  FinishPlan(svg, map, legend);
  DrawSamples(svg, scale, height + kSampleRow / 2 - 4);
  return FigureOf(std::move(svg).Finish(), CaptionOf(scale, vectors, points.size()), "plate");
}

}  // namespace orvo::report
