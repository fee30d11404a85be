#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "report/html/CameraChange.h"
#include "report/html/Frames.h"
#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/Sections.h"
#include "report/html/Svg.h"

namespace orvo::report {

namespace {

constexpr size_t kInFull = 12, kLargest = 10;
constexpr int kCurvePoints = 61;
constexpr double kCornersApart = 3;  // times: more shows nothing of the start's curve

struct Parameter {
  const char* pName;
  const char* pUnit;
  double CameraParameters::*pValue;  // null: of the further terms
  bool bLength;                      // pixels; else a coefficient
  double LensTerms::*pFurther = nullptr;

  double Of(const CameraParameters& camera) const {
    return pValue != nullptr ? camera.*pValue : camera.Further.*pFurther;
  }
};

constexpr std::array kParameters = {Parameter{"f", "px", &CameraParameters::f, true},
                                    Parameter{"x0", "px", &CameraParameters::x0, true},
                                    Parameter{"y0", "px", &CameraParameters::y0, true},
                                    Parameter{"k1", "1/px\xc2\xb2", &CameraParameters::k1, false},
                                    Parameter{"k2", "1/px\xe2\x81\xb4", &CameraParameters::k2, false},
                                    Parameter{"k3", "1/px\xe2\x81\xb6", nullptr, false, &LensTerms::fK3},
                                    Parameter{"p1", "1/px", nullptr, false, &LensTerms::fP1},
                                    Parameter{"p2", "1/px", nullptr, false, &LensTerms::fP2},
                                    Parameter{"b1", "", nullptr, false, &LensTerms::fB1},
                                    Parameter{"b2", "", nullptr, false, &LensTerms::fB2}};

/// Up to k2, and the further ones where a camera has some.
std::span<const Parameter> ParametersOf(std::span<const CameraFigure> cameras) {
  constexpr size_t kRadial = 5;
  const bool further = std::ranges::any_of(
      cameras, [](const CameraFigure& camera) { return camera.Start.bFurther || camera.End.bFurther; });
  return std::span(kParameters).first(further ? kParameters.size() : kRadial);
}

std::string NameOf(const Parameter& parameter) {
  if (*parameter.pUnit == '\0') return parameter.pName;
  return fmt::format("{}, {}", parameter.pName, parameter.pUnit);
}

std::string ValueText(const Parameter& parameter, double value) {
  if (parameter.bLength || value == 0) return Fixed(value, parameter.bLength ? 3 : 0);
  return std::isfinite(value) ? fmt::format("{:.5e}", value) : Fixed(value, 0);
}

std::string ChangeText(const Parameter& parameter, double change) {
  if (parameter.bLength || change == 0) return Signed(change, parameter.bLength ? 3 : 0);
  return std::isfinite(change) ? fmt::format("{:+.2e}", change) : Fixed(change, 0);
}

std::string ParameterTable(const CameraFigure& camera) {
  std::vector<TableColumn> columns = {{"Value"}, {camera.bUnknown ? "start" : "held", true}};
  if (camera.bUnknown) columns.insert(columns.end(), {{"end", true}, {"change", true}});
  HtmlTable table(columns, "The distortion is that in the corner of the image.");
  for (const Parameter& parameter : ParametersOf({&camera, 1})) {
    const double start = parameter.Of(camera.Start), end = parameter.Of(camera.End);
    table.Row({NameOf(parameter), ValueText(parameter, start), ValueText(parameter, end),
               ChangeText(parameter, end - start)});
  }
  const double start = DistortionAt(camera.Start, StartCornerRadius(camera));
  const double end = DistortionAt(camera.End, CornerRadius(camera));
  table.Row({"distortion, px", Signed(start, 2), Signed(end, 2), Signed(end - start, 2)}, "total");
  return std::move(table).Finish();
}

std::string DistortionPicture(const CameraFigure& camera) {
  const std::array corners = {StartCornerRadius(camera), CornerRadius(camera)};
  const double corner = std::max(corners[0], corners[1]);
  if (corner > kCornersApart * std::min(corners[0], corners[1])) return {};
  std::array<std::vector<Pair>, 2> curves;
  double low = 0, high = 0;
  for (int i = 0; i < kCurvePoints; ++i)
    for (size_t k = 0; k < 2; ++k) {
      const double radius = corners[k] * i / (kCurvePoints - 1);
      const double value = DistortionAt(k == 0 ? camera.Start : camera.End, radius);
      curves[k].push_back({radius, value});
      low = std::min(low, value);
      high = std::max(high, value);
      if (!std::isfinite(value)) return {};
    }
  if (!(corner > 0) || !(high > low) || !std::isfinite(high - low)) return {};
  Svg svg(440, camera.bUnknown ? 290 : 264, fmt::format("Radial distortion of {}", camera.szName),
          fmt::format("Curves over the distance from the principal point, in pixels. In the corner {} px at "
                      "the start and "
                      "{} px at the end.",
                      Signed(curves[0].back().y, 2), Signed(curves[1].back().y, 2)));
  const double room = 0.06 * (high - low);
  const Chart chart{
      {54, 28, 372, 190}, AxisOf(0, corner), AxisOf(low < 0 ? low - room : 0, high > 0 ? high + room : 0)};
  DrawAxes(svg, chart, {"distance from the principal point, pixels", "distortion, pixels"});
  const Pair from = chart.At(0, 0), to = chart.At(corner, 0);
  svg.Line(from.x, from.y, to.x, to.y, "zero");
  for (std::vector<Pair>& curve : curves)
    for (Pair& at : curve) at = chart.At(at.x, at.y);
  if (!camera.bUnknown) {
    svg.Polyline(curves[1], "line s1 thick");
    return std::move(svg).Finish();
  }
  svg.Polyline(curves[1], "line s1 thick");
  svg.Polyline(curves[0], "line s2 dashed thick");
  DrawLegend(
      svg,
      {{LegendShape::Line, "line s2 dashed thick", "start"}, {LegendShape::Line, "line s1 thick", "end"}}, 54,
      276, 380);
  return std::move(svg).Finish();
}

std::string Remarks(const CameraFigure& camera) {
  std::string html;
  for (const std::string& remark : CameraRemarks(camera)) html += Paragraph(remark);
  return html;
}

std::string InFull(const CameraFigure& camera) {
  const std::string size = camera.nWidth > 0 && camera.nHeight > 0
                               ? fmt::format("{} x {} px, ", camera.nWidth, camera.nHeight)
                               : std::string();
  const std::string text = fmt::format(
      "Number {} of the project, {}{}. {}", camera.nId, size, Counted(camera.nImages, "image"),
      camera.bUnknown
          ? fmt::format("Its parameters were unknowns; their change moves a point in the corner by {} px at "
                        "most.",
                        Significant(ChangeAtCorner(camera), 3))
          : std::string("It was held as given."));
  const std::string caption = std::string("Radial distortion") +
                              (camera.bUnknown ? " at the start and at the end" : "") +
                              ": above 0, a point is measured further out than without it. Past the "
                              "outermost tie points the curve says nothing.";
  return SubHeading(camera.szName) + Paragraph(text) + Remarks(camera) +
         SideBySide("<div>" + ParameterTable(camera) + "</div>\n" +
                    FigureOf(DistortionPicture(camera), caption));
}

// Of many cameras.
std::string Summary(const std::vector<CameraFigure>& cameras) {
  HtmlTable table({{"Parameter"},
                   {"start, median", true},
                   {"end, least", true},
                   {"end, median", true},
                   {"end, most", true},
                   {"change, median", true},
                   {"change, largest", true}},
                  fmt::format("Over {}", Counted(static_cast<int64_t>(cameras.size()), "camera")));
  for (const Parameter& parameter : ParametersOf(cameras)) {
    std::vector<double> start, end, change;
    for (const CameraFigure& camera : cameras) {
      const double first = parameter.Of(camera.Start), last = parameter.Of(camera.End);
      if (!std::isfinite(first) || !std::isfinite(last)) continue;
      start.push_back(first);
      end.push_back(last);
      change.push_back(last - first);
    }
    if (start.empty()) continue;
    for (auto* values : {&start, &end, &change}) std::ranges::sort(*values);
    const size_t middle = start.size() / 2;
    const double largest =
        std::abs(change.front()) > std::abs(change.back()) ? change.front() : change.back();
    table.Row({NameOf(parameter), ValueText(parameter, start[middle]), ValueText(parameter, end.front()),
               ValueText(parameter, end[middle]), ValueText(parameter, end.back()),
               ChangeText(parameter, change[middle]), ChangeText(parameter, largest)});
  }
  return std::move(table).Finish();
}

std::string Largest(const std::vector<CameraFigure>& cameras) {
  std::vector<std::pair<double, const CameraFigure*>> changes;
  for (const CameraFigure& camera : cameras) {
    const double change = ChangeAtCorner(camera);
    changes.emplace_back(std::isfinite(change) ? change : -1, &camera);
  }
  std::ranges::stable_sort(changes, [](const auto& a, const auto& b) { return a.first > b.first; });
  changes.resize(std::min(kLargest, changes.size()));
  std::vector<TableColumn> columns = {{"Camera"}, {"images", true}, {"in the corner, px", true}};
  const std::span<const Parameter> parameters = ParametersOf(cameras);
  for (const Parameter& parameter : parameters) columns.push_back({NameOf(parameter), true});
  HtmlTable table(
      columns, fmt::format("The {} with the largest change: how far it moves a point in the corner at most, "
                           "and the change of each parameter",
                           changes.size()));
  for (const auto& [change, camera] : changes) {
    std::vector<std::string> cells = {camera->szName, Thousands(camera->nImages), Significant(change, 3)};
    for (const Parameter& parameter : parameters)
      cells.push_back(ChangeText(parameter, parameter.Of(camera->End) - parameter.Of(camera->Start)));
    table.Row(cells, CameraRemarks(*camera).empty() ? "" : "doubtful");
  }
  return std::move(table).Finish();
}

std::string Many(const std::vector<CameraFigure>& cameras) {
  const auto unknown = std::ranges::count_if(cameras, &CameraFigure::bUnknown);
  const auto remarked = std::ranges::count_if(
      cameras, [](const CameraFigure& camera) { return !CameraRemarks(camera).empty(); });
  std::string text =
      fmt::format("{}, {} of them unknown. ", Counted(static_cast<int64_t>(cameras.size()), "camera"),
                  Thousands(static_cast<int64_t>(unknown)));
  text +=
      remarked == 0
          ? "None changed its focal length or principal point by more than 1 %."
          : fmt::format(
                "{} changed by more than 1 % of the focal length or of the image, or {} a distortion that "
                "turns back within the image. Where each image has its own camera, few points "
                "tell its parameters: let images of one camera share it.",
                Thousands(static_cast<int64_t>(remarked)), remarked == 1 ? "has" : "have");
  return Paragraph(text) + Summary(cameras) + (unknown > 0 ? Largest(cameras) : std::string());
}

}  // namespace

std::string CameraSection(const RunFigures& figures) {
  const std::vector<CameraFigure>& cameras = figures.vCameras;
  std::string html;
  if (cameras.size() > kInFull) {
    html = Many(cameras);
  } else {
    for (const CameraFigure& camera : cameras) html += InFull(camera);
  }
  return SectionOf("camera", "Cameras", html);
}

}  // namespace orvo::report
