#include "report/html/Svg.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "report/html/HtmlText.h"
#include "report/html/ShortName.h"

namespace orvo::report {
namespace {

/// To a tenth of a pixel, without needless zeros.
std::string Length(double value) {
  std::string text = fmt::format("{:.1f}", value);
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  if (text == "-0") text = "0";
  return text;
}

template <typename... T>
bool AllFinite(T... values) {
  return (std::isfinite(values) && ...);
}

std::string ClassOf(const char* style) {
  return *style == '\0' ? std::string() : fmt::format(" class=\"{}\"", style);
}

bool AllFinite(std::span<const Pair> points) {
  return std::ranges::all_of(points, [](const Pair& p) { return AllFinite(p.x, p.y); });
}

}  // namespace

Svg::Svg(double width, double height, std::string_view title, std::string_view description) : fWidth(width) {
  szText = fmt::format(
      "<svg role=\"img\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" style=\"--w:{0}px\">"
      "<title>{2}</title><desc>{3}</desc>\n",
      Length(std::ceil(width)), Length(std::ceil(height)), HtmlText(ShortName(title, kTipLetters)),
      HtmlText(description));
}

void Svg::End(std::string_view tip, const char* element) {
  if (tip.empty()) {
    szText += "/>\n";
  } else {
    szText += fmt::format("><title>{}</title></{}>\n", HtmlText(ShortName(tip, kTipLetters)), element);
  }
}

void Svg::Line(double x1, double y1, double x2, double y2, const char* style, std::string_view tip) {
  if (!AllFinite(x1, y1, x2, y2)) return;
  szText += fmt::format("<line{} x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\"", ClassOf(style), Length(x1),
                        Length(y1), Length(x2), Length(y2));
  End(tip, "line");
}

void Svg::Rect(double x, double y, double width, double height, const char* style, std::string_view tip) {
  if (!AllFinite(x, y, width, height) || width < 0 || height < 0) return;
  szText += fmt::format("<rect{} x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"", ClassOf(style), Length(x),
                        Length(y), Length(width), Length(height));
  End(tip, "rect");
}

void Svg::Circle(double x, double y, double radius, const char* style, std::string_view tip) {
  if (!AllFinite(x, y, radius) || radius < 0) return;
  szText += fmt::format("<circle{} cx=\"{}\" cy=\"{}\" r=\"{}\"", ClassOf(style), Length(x), Length(y),
                        Length(radius));
  End(tip, "circle");
}

void Svg::Points(const char* element, std::span<const Pair> points, const char* style, std::string_view tip) {
  if (points.empty() || !AllFinite(points)) return;
  szText += fmt::format("<{}{} points=\"", element, ClassOf(style));
  for (const Pair& p : points) szText += fmt::format("{},{} ", Length(p.x), Length(p.y));
  szText.back() = '"';
  End(tip, element);
}

void Svg::Polygon(std::span<const Pair> corners, const char* style, std::string_view tip) {
  Points("polygon", corners, style, tip);
}

void Svg::Polyline(std::span<const Pair> points, const char* style, std::string_view tip) {
  Points("polyline", points, style, tip);
}

void Svg::Arrow(double x, double y, double dx, double dy, const char* style, std::string_view tip) {
  constexpr double kHead = 6, kLeast = 4;
  if (!AllFinite(x, y, dx, dy)) return;
  SvgPath path;
  path.Line(x, y, x + dx, y + dy);
  const double length = std::hypot(dx, dy);
  if (length >= kLeast) {
    const double head = std::min(kHead, length / 2) / length;
    const double along = head * 0.85, across = head * 0.5;
    for (const double side : {-1.0, 1.0}) {
      path.Line(x + dx, y + dy, x + dx - along * dx - side * across * dy,
                y + dy - along * dy + side * across * dx);
    }
  }
  Path(path.Text(), style, tip);
}

void Svg::Path(std::string_view path, const char* style, std::string_view tip) {
  if (path.empty()) return;
  szText += fmt::format("<path{} d=\"{}\"", ClassOf(style), path);
  End(tip, "path");
}

void Svg::Text(double x, double y, std::string_view text, const char* style, const char* anchor,
               double degrees) {
  if (!AllFinite(x, y, degrees)) return;
  szText += fmt::format("<text{} x=\"{}\" y=\"{}\"", ClassOf(style), Length(x), Length(y));
  if (std::string_view(anchor) != "start") szText += fmt::format(" text-anchor=\"{}\"", anchor);
  if (degrees != 0) {
    szText += fmt::format(" transform=\"rotate({} {} {})\"", Length(degrees), Length(x), Length(y));
  }
  szText += fmt::format(">{}</text>\n", HtmlText(text));
}

void Svg::Open(const char* style, std::string_view tip) {
  szText += fmt::format("<g{}>", ClassOf(style));
  if (!tip.empty()) szText += fmt::format("<title>{}</title>", HtmlText(ShortName(tip, kTipLetters)));
  szText += '\n';
}

void Svg::Close() { szText += "</g>\n"; }

std::string Svg::Finish() && {
  szText += "</svg>\n";
  return std::move(szText);
}

void SvgPath::Line(double x1, double y1, double x2, double y2) {
  if (!AllFinite(x1, y1, x2, y2)) return;
  fmt::format_to(std::back_inserter(szText), "M{} {}L{} {}", Length(x1), Length(y1), Length(x2), Length(y2));
}

void SvgPath::Rect(double x, double y, double width, double height) {
  if (!AllFinite(x, y, width, height)) return;
  fmt::format_to(std::back_inserter(szText), "M{} {}h{}v{}h{}z", Length(x), Length(y), Length(width),
                 Length(height), Length(-width));
}

void SvgPath::Polygon(std::span<const Pair> corners) {
  if (corners.empty() || !AllFinite(corners)) return;
  char command = 'M';
  for (const Pair& p : corners) {
    fmt::format_to(std::back_inserter(szText), "{}{} {}", command, Length(p.x), Length(p.y));
    command = 'L';
  }
  szText += 'z';
}

void SvgPath::Dot(double x, double y) {
  if (!AllFinite(x, y)) return;
  fmt::format_to(std::back_inserter(szText), "M{} {}h0", Length(x), Length(y));
}

double TextWidth(std::string_view text, double size) {
  const auto characters =
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; });
  return 0.6 * size * static_cast<double>(characters);
}

AxisTicks TicksOf(double low, double high, int most) {
  AxisTicks ticks;
  if (!AllFinite(low, high, high - low) || low > high || most < 1) return ticks;
  const double span = std::max(high - low, 1e-9 * std::max({std::fabs(low), std::fabs(high), 1e-3}));
  const double least = span / most, power = std::pow(10, std::floor(std::log10(least)));
  ticks.fStep = 10 * power;
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least * (1 - 1e-9)) {
      ticks.fStep = factor * power;
      break;
    }
  }
  const double first = std::ceil(low / ticks.fStep - 1e-6), last = std::floor(high / ticks.fStep + 1e-6);
  ticks.fFirst = first * ticks.fStep;
  ticks.nNum = std::clamp(static_cast<int>(last - first) + 1, 0, most + 1);
  ticks.nDecimals = std::clamp(static_cast<int>(-std::floor(std::log10(ticks.fStep) + 1e-9)), 0, 12);
  return ticks;
}

}  // namespace orvo::report
