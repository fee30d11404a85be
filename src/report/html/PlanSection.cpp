#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "report/html/DifferencePlan.h"
#include "report/html/Extent.h"
#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/PlanMap.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

constexpr size_t kMostFootprints = 1500, kMostCentres = 5000, kMostTips = 600, kMostStripsNamed = 8;
constexpr size_t kMostNames = 40;
/// In place of a strip's number where no image has one.
constexpr int32_t kNoStrips = -2;

/// Numbers of strips and what lies in them.
using Strips = std::vector<std::pair<int32_t, std::vector<size_t>>>;

/// Places in vImages of each strip in the order of the file; those without one come first, under -1.
Strips ImagesByStrip(const std::vector<ImageFigure>& images) {
  std::vector<size_t> order(images.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::ranges::stable_sort(order, {}, [&](size_t i) { return images[i].nStrip; });
  Strips strips;
  for (const size_t i : order) {
    if (strips.empty() || strips.back().first != images[i].nStrip) strips.push_back({images[i].nStrip, {}});
    strips.back().second.push_back(i);
  }
  return strips;
}

struct Drawn {
  size_t nFootprints = 0, nCentres = 0, nOutside = 0;
};

void DrawFootprints(Svg& svg, const Map& map, const std::vector<ImageFigure>& images, Drawn& drawn) {
  const auto number = static_cast<size_t>(std::ranges::count_if(images, &ImageFigure::bHasFootprint));
  const size_t step = DrawnStep(number, kMostFootprints);
  svg.Open("feet plain");
  size_t next = 0;
  for (const ImageFigure& image : images) {
    if (!image.bHasFootprint || next++ % step != 0) continue;
    std::array<Pair, 4> corners{};
    for (size_t k = 0; k < 4; ++k) corners[k] = map.At(image.Footprint[k].x, image.Footprint[k].y);
    if (!std::ranges::all_of(corners, [&](const Pair& p) { return IsInside(map, p); })) continue;
    svg.Polygon(corners, "");
    ++drawn.nFootprints;
  }
  svg.Close();
}

std::string StripStyle(const char* shape, int32_t strip) {
  return fmt::format("{} s{}", shape, strip == kNoStrips ? 1 : strip < 0 ? 8 : strip % 7 + 1);
}

/// Where a strip begins, for its number.
struct StripHead {
  int32_t nStrip = -1;
  Pair First, Second;
};

/// The number of a strip before its first centre, or beside it where another one stands.
void DrawStripNumber(Svg& svg, const Map& map, LabelRoom& room, const StripHead& head) {
  const Pair first = head.First;
  const double length = std::max(std::hypot(first.x - head.Second.x, first.y - head.Second.y), 1e-9);
  const Pair along{13 * (first.x - head.Second.x) / length, 13 * (first.y - head.Second.y) / length};
  const std::string text = fmt::format("{}", head.nStrip + 1);
  // Of bold type.
  const double half = 0.6 * TextWidth(text) + 1;
  for (const Pair& off : {along, Pair{along.y, -along.x}, Pair{-along.y, along.x}}) {
    const Pair at{first.x + off.x, first.y + off.y};
    const Box box{at.x - half, at.y - 8, 2 * half, 16};
    if (!IsInside(map, {box.fLeft, box.fTop}) || !IsInside(map, {box.Right(), box.Bottom()}) ||
        !room.Take(box))
      continue;
    svg.Text(at.x, at.y + 4, text, StripStyle("label strong halo", head.nStrip).c_str(), "middle");
    return;
  }
}

void DrawStrip(Svg& svg, const Map& map, const std::vector<ImageFigure>& images, int32_t strip,
               const std::vector<size_t>& members, size_t step, std::vector<StripHead>& heads, Drawn& drawn) {
  std::vector<Pair> places;
  SvgPath dots;
  const bool tips = images.size() <= kMostTips;
  for (size_t k = 0; k < members.size(); k += step) {
    const ImageFigure& image = images[members[k]];
    const Pair at = map.At(image.Centre.X, image.Centre.Y);
    if (!IsInside(map, at)) {
      ++drawn.nOutside;
      continue;
    }
    ++drawn.nCentres;
    places.push_back(at);
    dots.Dot(at.x, at.y);
  }
  if (strip >= 0 && places.size() > 1) svg.Polyline(places, StripStyle("line thin", strip).c_str());
  if (!tips) {
    svg.Path(dots.Text(), StripStyle(images.size() > 2000 ? "dots small" : "dots", strip).c_str());
  } else {
    for (size_t k = 0; k < members.size(); k += step) {
      const ImageFigure& image = images[members[k]];
      const Pair at = map.At(image.Centre.X, image.Centre.Y);
      if (IsInside(map, at)) svg.Circle(at.x, at.y, 3.5, StripStyle("dot", strip).c_str(), image.szName);
    }
  }
  if (strip >= 0 && places.size() > 1) heads.push_back({strip, places[0], places[1]});
}

std::string CaptionOf(const RunFigures& figures, const Drawn& drawn, bool strips) {
  std::string text = strips ? "Where the images were taken, seen from above: dots in the order of each strip "
                              "(flight line), whose number stands at its beginning. "
                            : "Where the images were taken, seen from above. ";
  if (drawn.nFootprints > 0) text += "Grey outlines are what an image shows of the ground. ";
  if (!figures.Ground.vPoints.empty()) {
    text +=
        "Triangles are control points, which hold the block in place; rings are check points, which only "
        "test it. ";
  }
  const auto images = static_cast<int64_t>(figures.vImages.size());
  const auto few = [&](size_t shown, size_t all) { return shown < all; };
  const auto footprints =
      static_cast<size_t>(std::ranges::count_if(figures.vImages, &ImageFigure::bHasFootprint));
  if (few(drawn.nCentres + drawn.nOutside, figures.vImages.size()) ||
      (drawn.nFootprints > 0 && footprints > kMostFootprints)) {
    text += fmt::format("Drawn are {} of {} centres and {} of {} outlines. ",
                        Thousands(static_cast<int64_t>(drawn.nCentres)), Thousands(images),
                        Thousands(static_cast<int64_t>(drawn.nFootprints)),
                        Thousands(static_cast<int64_t>(footprints)));
  }
  if (drawn.nOutside > 0) {
    text +=
        fmt::format("{} so far away that the map leaves them out. ",
                    drawn.nOutside == 1 ? "1 image lies"
                                        : Thousands(static_cast<int64_t>(drawn.nOutside)) + " images lie");
  }
  text.pop_back();
  return text;
}

std::vector<LegendEntry> LegendOf(const RunFigures& figures, const Strips& strips, bool named) {
  std::vector<LegendEntry> legend;
  if (named && strips.size() <= kMostStripsNamed) {
    for (const auto& [strip, members] : strips) {
      legend.push_back({LegendShape::Dot, StripStyle("dot", strip),
                        strip < 0 ? std::string("without a strip") : fmt::format("strip {}", strip + 1)});
    }
  } else {
    legend.push_back({LegendShape::Dot, StripStyle("dot", 0), named ? "image (a colour a strip)" : "image"});
  }
  if (std::ranges::any_of(figures.vImages, &ImageFigure::bHasFootprint))
    legend.push_back({LegendShape::Area, "feet plain", "ground of an image"});
  AppendGroundLegend(figures.Ground.vPoints, legend);
  return legend;
}

std::string LayoutFigure(const RunFigures& figures) {
  const Map map = PlanMapOf(figures);
  const auto strips = ImagesByStrip(figures.vImages);
  const bool named = !strips.empty() && strips.back().first >= 0;
  const auto legend = LegendOf(figures, strips, named);
  const auto& ground = figures.Ground.vPoints;
  const int64_t control = std::ranges::count_if(ground, &GroundPointFigure::bControl);
  Svg svg(
      kPlanWidth, PlanHeight(map, legend), "The block in plan",
      fmt::format("Map with {}, {} and {}.", Counted(static_cast<int64_t>(figures.vImages.size()), "image"),
                  Counted(control, "control point"), Counted(std::ssize(ground) - control, "check point")));
  Drawn drawn;
  DrawFootprints(svg, map, figures.vImages, drawn);
  DrawMapFrame(svg, map);
  std::vector<StripHead> heads;
  const size_t step = DrawnStep(figures.vImages.size(), kMostCentres);
  for (const auto& [strip, members] : strips) {
    DrawStrip(svg, map, figures.vImages, named ? strip : kNoStrips, members, step, heads, drawn);
  }
  LabelRoom room;
  for (const StripHead& head : heads) DrawStripNumber(svg, map, room, head);
  DrawGroundPoints(svg, map, figures.Ground.vPoints, room, kMostNames);
  FinishPlan(svg, map, legend);
  return FigureOf(std::move(svg).Finish(), CaptionOf(figures, drawn, named), "plate");
}

}  // namespace

std::string PlanSection(const RunFigures& figures) {
  if (figures.vImages.empty()) return {};
  return SectionOf("plan", "The block in plan", SideBySide(LayoutFigure(figures) + DifferencePlan(figures)));
}

}  // namespace orvo::report
