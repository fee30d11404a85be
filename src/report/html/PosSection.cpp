#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "report/html/Extent.h"
#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

constexpr double kWidth = 400, kHeight = 210;
constexpr Box kArea = {52, 32, kWidth - 64, kHeight - 32 - 42};
constexpr size_t kMostPanels = 12, kMostDots = 300, kMostRows = 500;

double Size(const Triple& rmse) { return std::sqrt(rmse.X * rmse.X + rmse.Y * rmse.Y + rmse.Z * rmse.Z); }

/// Strips that are drawn: all, or those with the largest differences, by their number.
std::vector<DriftFigure> DrawnStrips(const PosFigures& pos) {
  std::vector<DriftFigure> strips = pos.vStrips;
  if (strips.size() > kMostPanels) {
    std::ranges::stable_sort(strips, std::greater<>(), [](const DriftFigure& strip) {
      const double size = Size(strip.Rmse);
      return std::isfinite(size) ? size : HUGE_VAL;
    });
    strips.resize(kMostPanels);
    std::ranges::sort(strips, {}, &DriftFigure::nStrip);
  }
  return strips;
}

/// The largest difference of those that are drawn; 0 where there is none.
double LargestOf(const PosFigures& pos, const std::vector<DriftFigure>& strips) {
  double largest = 0;
  for (const PosImageFigure& image : pos.vImages) {
    if (std::ranges::find(strips, image.nStrip, &DriftFigure::nStrip) == strips.end()) continue;
    for (const double d : {image.Difference.X, image.Difference.Y, image.Difference.Z}) {
      if (std::isfinite(d)) largest = std::max(largest, std::fabs(d));
    }
  }
  return largest;
}

void DrawAxis(Svg& svg, const Chart& chart, const std::vector<const PosImageFigure*>& images,
              double (*value)(const PosImageFigure&), const char* style, int shape) {
  const size_t step = DrawnStep(images.size(), kMostDots);
  SvgPath path;
  for (size_t i = 0; i < images.size(); i += step) {
    const Pair at = chart.At(images[i]->fTime, value(*images[i]));
    if (shape == 0) {
      path.Dot(at.x, at.y);
    } else if (shape == 1) {
      path.Line(at.x - 3, at.y - 3, at.x + 3, at.y + 3);
      path.Line(at.x - 3, at.y + 3, at.x + 3, at.y - 3);
    } else {
      path.Polygon(
          std::array<Pair, 3>{Pair{at.x - 3.5, at.y + 3}, Pair{at.x + 3.5, at.y + 3}, Pair{at.x, at.y - 4}});
    }
  }
  svg.Path(path.Text(), style);
}

std::string Panel(const PosFigures& pos, const DriftFigure& strip, double largest) {
  std::vector<const PosImageFigure*> images;
  std::vector<double> times;
  for (const PosImageFigure& image : pos.vImages) {
    if (image.nStrip != strip.nStrip || !std::isfinite(image.fTime)) continue;
    images.push_back(&image);
    times.push_back(image.fTime);
  }
  if (images.empty()) return {};
  std::ranges::stable_sort(images, {}, [](const PosImageFigure* image) { return image->fTime; });
  const auto [first, last] = std::ranges::minmax(times);
  const ChartAxis time = last > first ? AxisOf(first, last) : ChartAxis{first - 1, first + 1};
  const double room = (time.fHigh - time.fLow) * 0.03;
  Svg svg(kWidth, kHeight, fmt::format("GPS differences of strip {}", strip.nStrip + 1),
          fmt::format("By time; RMSE {} m in X, {} m in Y, {} m in Z.", Significant(strip.Rmse.X, 3),
                      Significant(strip.Rmse.Y, 3), Significant(strip.Rmse.Z, 3)));
  const Chart chart{kArea, AxisOf(time.fLow - room, time.fHigh + room),
                    AxisOf(-1.08 * largest, 1.08 * largest)};
  DrawAxes(svg, chart, {"Time along the strip, s", {}, 6, 5});
  svg.Text(12, 18, fmt::format("Strip {}, differences in m", strip.nStrip + 1), "text strong");
  const Pair zero = chart.At(chart.X.fLow, 0);
  svg.Line(kArea.fLeft, zero.y, kArea.Right(), zero.y, "zero");
  DrawAxis(
      svg, chart, images, [](const PosImageFigure& i) { return i.Difference.X; }, "dots s1", 0);
  DrawAxis(
      svg, chart, images, [](const PosImageFigure& i) { return i.Difference.Y; }, "line s2", 1);
  DrawAxis(
      svg, chart, images, [](const PosImageFigure& i) { return i.Difference.Z; }, "area s3", 2);
  return std::move(svg).Finish();
}

std::string PanelFigure(const PosFigures& pos) {
  const auto strips = DrawnStrips(pos);
  const double largest = LargestOf(pos, strips);
  if (!(largest > 0)) return {};
  std::string panels;
  for (const DriftFigure& strip : strips) panels += Panel(pos, strip, largest);
  if (panels.empty()) return {};
  Svg legend(kWidth, 26, "Signs of the axes", "Dots for X, crosses for Y, triangles for Z.");
  DrawLegend(legend,
             {{LegendShape::Dot, "dot s1", "X (east)"},
              {LegendShape::Cross, "line s2", "Y (north)"},
              {LegendShape::Triangle, "area s3", "Z (up)"}},
             52, 13, kWidth - 52);
  std::string caption =
      "Position by GPS less computed position of each image, by the time of its strip, after the drift below "
      "was taken off. Points should scatter about the dashed line; a curve or a jump says that the drift is "
      "no straight line, a single point far off that its position is wrong. All panels have the same scale. "
      "The "
      "time is that of the model of drift: from the strip's first image on by the distance from it and the "
      "flying speed of the settings, negative where X, Y or Z (whichever changes most) falls along the "
      "strip.";
  if (pos.vStrips.size() > strips.size()) {
    caption += fmt::format(" Of {} strips the {} with the largest differences are drawn.", pos.vStrips.size(),
                           strips.size());
  }
  return FigureOf(std::move(legend).Finish() + "<div class=\"panels\">\n" + panels + "</div>", caption);
}

double MedianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  return *middle;
}

/// For each strip whether its offset lies far from those of the others; nothing where there are too few
/// strips to tell.
std::vector<bool> StandsOut(const PosFigures& pos, double gsd) {
  constexpr size_t kLeastStrips = 4;
  constexpr double kTimes = 5, kPixels = 3;
  const auto& strips = pos.vStrips;
  std::vector<bool> far(strips.size());
  if (!pos.bConstant || strips.size() < kLeastStrips) return far;
  Triple middle;
  for (double Triple::*axis : {&Triple::X, &Triple::Y, &Triple::Z}) {
    std::vector<double> values;
    for (const DriftFigure& strip : strips) {
      if (!std::isfinite(strip.Constant.*axis)) return far;
      values.push_back(strip.Constant.*axis);
    }
    middle.*axis = MedianOf(std::move(values));
  }
  std::vector<double> away;
  for (const DriftFigure& strip : strips) {
    const Triple& c = strip.Constant;
    away.push_back(Size({c.X - middle.X, c.Y - middle.Y, c.Z - middle.Z}));
  }
  const double limit = std::max(kTimes * MedianOf(away), kPixels * gsd);
  for (size_t i = 0; i < strips.size(); ++i) far[i] = away[i] > limit;
  return far;
}

std::string StandOutText(const PosFigures& pos, const std::vector<bool>& far) {
  constexpr int kMostNamed = 10;
  std::string names;
  int number = 0;
  for (size_t i = 0; i < far.size(); ++i) {
    if (!far[i] || ++number > kMostNamed) continue;
    names += fmt::format("{}{}", number > 1 ? ", " : "", pos.vStrips[i].nStrip + 1);
  }
  if (number == 0) return {};
  if (number > kMostNamed) names += fmt::format(" and {} more", number - kMostNamed);
  return Paragraph(fmt::format(
      "! The offset of strip{} {} is far from those of the other strips. Look at the GPS data there: a lost "
      "lock, another reference station, wrong ambiguities or another height system.",
      number == 1 ? "" : "s", names));
}

std::string DriftTable(const PosFigures& pos, const std::vector<bool>& far) {
  std::vector<TableColumn> columns = {{"Strip"}, {"Images", true}};
  const auto add = [&](const char* what) {
    for (const char* axis : {"X", "Y", "Z"}) columns.push_back({fmt::format(fmt::runtime(what), axis), true});
  };
  if (pos.bConstant) add("Offset {}, m");
  if (pos.bLinear) add("Rate {}, mm/s");
  add("RMSE {}, m");
  HtmlTable table(columns);
  const auto append = [](std::vector<std::string>& row, const Triple& t, double scale, int decimals) {
    for (const double value : {t.X, t.Y, t.Z}) row.push_back(Fixed(scale * value, decimals));
  };
  const size_t shown = std::min(pos.vStrips.size(), kMostRows);
  for (size_t i = 0; i < shown; ++i) {
    const DriftFigure& strip = pos.vStrips[i];
    std::vector<std::string> row = {fmt::format("{}{}", far[i] ? "! " : "", strip.nStrip + 1),
                                    Thousands(int64_t{strip.nImages})};
    if (pos.bConstant) append(row, strip.Constant, 1, 3);
    if (pos.bLinear) append(row, strip.Rate, 1000, 2);
    append(row, strip.Rmse, 1, 3);
    table.Row(row, far[i] ? "doubtful" : "");
  }
  if (pos.vStrips.size() > 1) {
    std::vector<std::string> row = {"all", Thousands(static_cast<int64_t>(pos.vImages.size()))};
    for (int k = 0; k < (pos.bConstant ? 3 : 0) + (pos.bLinear ? 3 : 0); ++k) row.emplace_back();
    append(row, pos.Rmse, 1, 3);
    table.Row(row, "total");
  }
  std::string text = std::move(table).Finish();
  if (pos.vStrips.size() > shown) {
    text += Paragraph(fmt::format("The first {} of {} strips.", shown, pos.vStrips.size()), "hint");
  }
  return text;
}

std::string WeightText(const PosFigures& pos) {
  if (!pos.bGps) return "Positions by GPS took no part in the adjustment; observed attitudes did.";
  std::string text = fmt::format("GPS positions took part with the weights {} in plan and {} in height. ",
                                 Short(pos.fWeightXY), Short(pos.fWeightZ));
  if (pos.fSigmaXY > 0 && pos.fSigmaZ > 0) {
    text += fmt::format(
        "That is what positions with a standard deviation of {} m in plan and {} m in height should have, "
        "given how well the images were measured. Differences much larger than that say that the weights are "
        "too high, much smaller ones that they could be higher. ",
        Short(pos.fSigmaXY), Short(pos.fSigmaZ));
  }
  text += pos.bLinear ? "For each strip an offset and a rate by time (drift) were found along with the rest."
          : pos.bConstant ? "For each strip an offset was found along with the rest."
                          : "No drift was allowed for.";
  if (pos.bImu) text += " Observed attitudes took part, too.";
  return text;
}

}  // namespace

std::string PosSection(const RunFigures& figures) {
  if (!figures.Pos) return {};
  const PosFigures& pos = *figures.Pos;
  const std::vector<bool> far = StandsOut(pos, figures.Points.fGsd);
  return SectionOf(
      "pos", "GPS",
      Paragraph(WeightText(pos)) + StandOutText(pos, far) + PanelFigure(pos) + DriftTable(pos, far));
}

}  // namespace orvo::report
