// A picture of a page.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "report/RunFigures.h"

namespace orvo::report {

/// Lengths in pixels of the picture, y down. `style` names classes of the page's style sheet (Style.h), which
/// gives the colours for light, dark and paper; an element has no colours of its
/// own but through a class, and those of its group where `style` is empty.
/// Texts may hold any bytes. `tip` is shown when the pointer rests on the element, and read by screen
/// readers. An element with a coordinate that is not finite is left out.
class Svg {
 public:
  /// The picture scales with the page and never beyond its own width. `title` and `description` are for
  /// those who can't see it.
  Svg(double width, double height, std::string_view title, std::string_view description);

  void Line(double x1, double y1, double x2, double y2, const char* style, std::string_view tip = {});
  void Rect(double x, double y, double width, double height, const char* style, std::string_view tip = {});
  void Circle(double x, double y, double radius, const char* style, std::string_view tip = {});
  void Polygon(std::span<const Pair> corners, const char* style, std::string_view tip = {});
  void Polyline(std::span<const Pair> points, const char* style, std::string_view tip = {});
  /// An arrow from (x, y) by (dx, dy), with a head where it is long enough for one.
  void Arrow(double x, double y, double dx, double dy, const char* style, std::string_view tip = {});
  /// Many shapes of one style in one element, as SvgPath gathers them. Nothing where it is empty.
  void Path(std::string_view path, const char* style, std::string_view tip = {});
  /// `anchor`: "start", "middle" or "end". Turned by `degrees` clockwise about (x, y).
  void Text(double x, double y, std::string_view text, const char* style, const char* anchor = "start",
            double degrees = 0);
  /// What follows until Close belongs together.
  void Open(const char* style, std::string_view tip = {});
  void Close();

  double Width() const { return fWidth; }

  /// The element, whole.
  std::string Finish() &&;

 private:
  void Points(const char* element, std::span<const Pair> points, const char* style, std::string_view tip);
  void End(std::string_view tip, const char* element);

  double fWidth = 0;
  std::string szText;
};

/// The outlines of many shapes, for Svg::Path. What is not finite is left out.
class SvgPath {
 public:
  void Line(double x1, double y1, double x2, double y2);
  void Rect(double x, double y, double width, double height);
  void Polygon(std::span<const Pair> corners);
  /// A point for a style with round ends ("dots").
  void Dot(double x, double y);
  const std::string& Text() const { return szText; }

 private:
  std::string szText;
};

/// Width of a text of this size in pixels, somewhat too wide rather than too narrow.
double TextWidth(std::string_view text, double size = 12);

/// Values of an axis: at round numbers, `most` at most.
struct AxisTicks {
  double fFirst = 0, fStep = 1;
  int nNum = 0;
  int nDecimals = 0;  ///< that a label needs
  double At(int i) const { return fFirst + fStep * i; }
};
/// Those from `low` to `high`; none where these are not finite or `low` is above `high`.
AxisTicks TicksOf(double low, double high, int most);

}  // namespace orvo::report
