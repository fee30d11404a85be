#include "report/html/NameBars.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "report/html/ShortName.h"
#include "report/html/Svg.h"

namespace orvo::report {

namespace {

constexpr double kWidth = 440, kNames = 156, kTexts = 104, kRow = 19, kBar = 12, kTop = 26;
constexpr int kLetters = 20;

}  // namespace

std::string NameBars(const std::vector<NameBar>& bars, const BarMark& mark, std::string_view title,
                     std::string_view description) {
  if (bars.empty()) return {};
  const double height = kTop + kRow * static_cast<double>(bars.size()) + 6, bottom = height - 4;
  double most = mark.fValue;
  for (const NameBar& bar : bars)
    if (std::isfinite(bar.fValue)) most = std::max(most, bar.fValue);
  const double scale = most > 0 ? (kWidth - kNames - kTexts) / most : 0;
  Svg svg(kWidth, height, title, description);
  const auto lengthOf = [&](const NameBar& bar) {
    return std::isfinite(bar.fValue) ? std::max(scale * bar.fValue, 0.5) : 0;
  };
  double y = kTop;
  for (const NameBar& bar : bars) {
    svg.Rect(kNames, y, lengthOf(bar), kBar, bar.bBeyond ? "area s2" : "area s1", bar.szName);
    y += kRow;
  }
  svg.Line(kNames, kTop - 4, kNames, bottom, "edge");
  const double x = kNames + scale * mark.fValue;
  if (mark.fValue > 0) {
    svg.Line(x, kTop - 6, x, bottom, "zero");
    svg.Text(std::clamp(x, TextWidth(mark.szText) / 2, kWidth - TextWidth(mark.szText) / 2), kTop - 12,
             mark.szText, "axis", "middle");
  }
  // Behind the mark, which crosses what stands beside shorter bars.
  y = kTop;
  for (const NameBar& bar : bars) {
    svg.Text(kNames - 8, y + kBar - 1, ShortName(bar.szName, kLetters), "text", "end");
    svg.Text(kNames + lengthOf(bar) + 6, y + kBar - 1, bar.bBeyond ? "! " + bar.szText : bar.szText,
             bar.bBeyond ? "text strong halo" : "text halo");
    y += kRow;
  }
  return std::move(svg).Finish();
}

}  // namespace orvo::report
