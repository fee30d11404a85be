#include "report/html/ResidualPictures.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

#include "report/html/Frames.h"
#include "report/html/Numbers.h"
#include "report/html/ResidualField.h"
#include "report/html/Svg.h"

namespace orvo::report {

namespace {

constexpr double kWidth = 440;
constexpr double kFieldWidth = 424, kFieldHeight = 320, kFieldLeft = 8, kFieldTop = 8;
constexpr double kLongest = 2;      // cells
constexpr double kMostBells = 2.5;  // times the normal curve's top, for a bar that is drawn to its end
constexpr double kBeyondNoise = 3;  // times the standard deviation of a mean
constexpr int kCurvePoints = 121;

double Length(const Pair& value) { return std::hypot(value.x, value.y); }

bool Counts(const ResidualCell& cell) {
  return cell.nNum >= kCellMeasurements && std::isfinite(Length(cell.Mean));
}

struct Field {
  double fWidth = 0, fHeight = 0, fCellWidth = 0, fCellHeight = 0;
};

// The image as large as there is room.
Field FieldOf(const CameraFigure& camera) {
  const bool sized = camera.nWidth > 0 && camera.nHeight > 0;
  const double width = sized ? camera.nWidth : kGridColumns, height = sized ? camera.nHeight : kGridRows;
  const double scale = std::min(kFieldWidth / width, kFieldHeight / height);
  return {scale * width, scale * height, scale * width / kGridColumns, scale * height / kGridRows};
}

// An arrow with its middle in the cell, so that the grid stays readable where arrows are long.
void AddArrow(double x, double y, double dx, double dy, SvgPath& path) {
  const double length = std::hypot(dx, dy);
  path.Line(x - dx / 2, y - dy / 2, x + dx / 2, y + dy / 2);
  if (length < 3) return;
  const double head = std::min(5.0, length / 2) / length;
  for (const double side : {-0.5, 0.5})
    path.Line(x + dx / 2, y + dy / 2, x + dx / 2 - head * (0.85 * dx + side * dy),
              y + dy / 2 - head * (0.85 * dy - side * dx));
}

void DrawKey(Svg& svg, double scale, double y, bool any) {
  const double key = RoundBelow(70 / scale);
  SvgPath arrow;
  AddArrow(kFieldLeft + key * scale / 2, y, key * scale, 0, arrow);
  svg.Path(arrow.Text(), "line plain");
  const double right = kFieldLeft + key * scale + 8;
  const std::string text = RoundText(key) + " px";
  svg.Text(right, y + 4, text, "text");
  std::vector<LegendEntry> entries = {{LegendShape::Line, "line plain", "as noise"}};
  if (any) entries.push_back({LegendShape::Line, "line s2 thick", "beyond noise"});
  DrawLegend(svg, entries, right + TextWidth(text) + 24, y, kWidth);
}

double NormalShare(double from, double to, double deviation) {
  const double root = deviation * std::numbers::sqrt2;
  return (std::erf(to / root) - std::erf(from / root)) / 2;
}

void DrawBell(Svg& svg, const Chart& chart, double step, double rmse) {
  std::vector<Pair> curve;
  for (int i = 0; i < kCurvePoints; ++i) {
    const double x = chart.X.fLow + (chart.X.fHigh - chart.X.fLow) * i / (kCurvePoints - 1);
    curve.push_back(chart.At(x, 100 * NormalShare(x - step / 2, x + step / 2, rmse)));
  }
  svg.Polyline(curve, "line s2 thick");
}

// Percent of `number` in the fullest bin, and of the normal distribution in the middle one.
double HighestShare(const Histogram& histogram, int64_t number) {
  if (histogram.vCounts.empty() || number <= 0) return 0;
  return 100 * static_cast<double>(*std::ranges::max_element(histogram.vCounts)) /
         static_cast<double>(number);
}

double BellShare(const Histogram& histogram, double rmse) {
  return rmse > 0 ? 100 * NormalShare(-histogram.fStep / 2, histogram.fStep / 2, rmse) : 0;
}

}  // namespace

double CutShare(const Histogram& histogram, double rmse, int64_t number) {
  const double highest = HighestShare(histogram, number), bell = BellShare(histogram, rmse);
  // A curve that is all but flat is no measure.
  return highest > kMostBells * bell && bell > 0.05 * highest ? highest : 0;
}

std::string HistogramPicture(const Histogram& histogram, double rmse, int64_t number, const char* axis) {
  const auto bins = static_cast<double>(histogram.vCounts.size());
  const double last = histogram.fFirst + bins * histogram.fStep;
  if (histogram.vCounts.empty() || number <= 0 || !(rmse > 0) || !(histogram.fStep > 0) ||
      !std::isfinite(last))
    return {};
  const double all = static_cast<double>(number) / 100;
  const double bell = BellShare(histogram, rmse);
  const bool cut = CutShare(histogram, rmse, number) > 0;
  const double top = cut ? kMostBells * bell : std::max(bell, HighestShare(histogram, number));
  Svg svg(kWidth, 270, fmt::format("Histogram of the residuals in {}", axis),
          fmt::format(
              "Bars: share of the measurements by residual in {0}, in pixels. Curve: the normal distribution "
              "with the same RMSE of {1} px.",
              axis, Fixed(rmse, 3)));
  const Chart chart{{48, 28, kWidth - 62, 178}, AxisOf(histogram.fFirst, last), AxisOf(0, top * 1.05)};
  DrawAxes(svg, chart, {fmt::format("residual in {}, pixels", axis), "percent of the measurements"});
  SvgPath bars;
  for (size_t i = 0; i < histogram.vCounts.size(); ++i) {
    const double left = histogram.fFirst + static_cast<double>(i) * histogram.fStep;
    const Pair corner = chart.At(left, std::min(static_cast<double>(histogram.vCounts[i]) / all, top));
    const Pair foot = chart.At(left + histogram.fStep, 0);
    const double gap = std::min(1.0, (foot.x - corner.x) / 4);
    bars.Rect(corner.x + gap / 2, corner.y, foot.x - corner.x - gap, foot.y - corner.y);
  }
  svg.Path(bars.Text(), "area s1");
  DrawBell(svg, chart, histogram.fStep, rmse);
  DrawLegend(
      svg,
      {{LegendShape::Area, "area s1", "residuals"}, {LegendShape::Line, "line s2 thick", "normal curve"}}, 48,
      258, kWidth);
  return std::move(svg).Finish();
}

double FieldMagnification(const CameraFigure& camera, double scale) {
  return camera.nWidth > 0 ? scale * camera.nWidth / FieldOf(camera).fWidth : 0;
}

double FieldScale(const CameraFigure& camera) {
  const Field field = FieldOf(camera);
  double longest = 0;
  for (const ResidualCell& cell : camera.vField)
    if (Counts(cell)) longest = std::max(longest, Length(cell.Mean));
  const double scale = kLongest * std::min(field.fCellWidth, field.fCellHeight) / longest;
  return std::isfinite(scale) ? scale : 0;
}

std::string FieldPicture(const CameraFigure& camera, double scale) {
  if (camera.vField.size() != static_cast<size_t>(kGridRows) * kGridColumns || !(scale > 0)) return {};
  const Field field = FieldOf(camera);
  Svg svg(
      kWidth, kFieldTop + field.fHeight + 36, fmt::format("Mean residuals over the image, {}", camera.szName),
      fmt::format("An arrow in each of {} by {} cells of the image: the mean residual of its measurements.",
                  kGridColumns, kGridRows));
  svg.Rect(kFieldLeft, kFieldTop, field.fWidth, field.fHeight, "frame");
  SvgPath grid, noise, beyond;
  for (int i = 5; i < kGridColumns; i += 5)
    grid.Line(kFieldLeft + i * field.fCellWidth, kFieldTop, kFieldLeft + i * field.fCellWidth,
              kFieldTop + field.fHeight);
  for (int i = 5; i < kGridRows; i += 5)
    grid.Line(kFieldLeft, kFieldTop + i * field.fCellHeight, kFieldLeft + field.fWidth,
              kFieldTop + i * field.fCellHeight);
  svg.Path(grid.Text(), "grid");
  bool any = false;
  for (int row = 0; row < kGridRows; ++row)
    for (int column = 0; column < kGridColumns; ++column) {
      const ResidualCell& cell = camera.vField[static_cast<size_t>(row) * kGridColumns + column];
      if (!Counts(cell)) continue;
      const double usual = Length(camera.Rmse) / std::sqrt(2 * static_cast<double>(cell.nNum));
      const bool isBeyond = Length(cell.Mean) > kBeyondNoise * usual;
      any = any || isBeyond;
      AddArrow(kFieldLeft + (column + 0.5) * field.fCellWidth, kFieldTop + (row + 0.5) * field.fCellHeight,
               scale * cell.Mean.x, -scale * cell.Mean.y, isBeyond ? beyond : noise);
    }
  svg.Path(noise.Text(), "line plain");
  svg.Path(beyond.Text(), "line s2 thick");
  DrawKey(svg, scale, kFieldTop + field.fHeight + 20, any);
  return std::move(svg).Finish();
}

std::string RingPicture(const CameraFigure& camera) {
  std::vector<std::pair<double, const CameraFigure::Ring*>> rings;
  double low = 0, high = 0;
  for (size_t i = 0; i < camera.vRings.size(); ++i) {
    const CameraFigure::Ring& ring = camera.vRings[i];
    if (ring.nNum < kCellMeasurements || !std::isfinite(Length(ring.Rmse) + ring.Mean.x)) continue;
    rings.emplace_back((static_cast<double>(i) + 0.5) * camera.fRingWidth, &ring);
    low = std::min(low, ring.Mean.x);
    high = std::max({high, ring.Rmse.x, ring.Rmse.y, ring.Mean.x});
  }
  const double reach = camera.fRingWidth * static_cast<double>(camera.vRings.size());
  if (rings.size() < 2 || !(reach > 0) || !std::isfinite(reach)) return {};
  Svg svg(kWidth, 330, fmt::format("Residuals by distance from the principal point, {}", camera.szName),
          "Lines over the distance in pixels: RMSE along the radius, RMSE across it, and the mean along it.");
  const double room = 0.06 * (high - low);
  const Chart chart{
      {48, 28, kWidth - 62, 218}, AxisOf(0, reach), AxisOf(low < 0 ? low - room : 0, high + room)};
  DrawAxes(svg, chart, {"distance from the principal point, pixels", "pixels"});
  const Pair from = chart.At(0, 0), to = chart.At(reach, 0);
  svg.Line(from.x, from.y, to.x, to.y, "zero");
  std::vector<Pair> along, across, mean;
  for (const auto& [radius, ring] : rings) {
    along.push_back(chart.At(radius, ring->Rmse.x));
    across.push_back(chart.At(radius, ring->Rmse.y));
    mean.push_back(chart.At(radius, ring->Mean.x));
  }
  svg.Polyline(along, "line s1 thick");
  svg.Polyline(across, "line s3 dashed thick");
  svg.Polyline(mean, "line s2");
  for (const Pair& at : mean) svg.Circle(at.x, at.y, 3, "dot s2");
  DrawLegend(svg,
             {{LegendShape::Line, "line s1 thick", "RMSE along the radius"},
              {LegendShape::Line, "line s3 dashed thick", "RMSE across it"},
              {LegendShape::Line, "line s2", "mean along it, outwards above 0"}},
             48, 298, kWidth - 48);
  return std::move(svg).Finish();
}

}  // namespace orvo::report
