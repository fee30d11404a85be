#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/PrecisionParts.h"

namespace orvo::report {
namespace {

constexpr size_t kRows = 100;

using Points = std::vector<const GroundPrecisionFigure*>;

struct Axis {
  const char* pName;
  double Triple::*pValue;
};

constexpr std::array kAxes = {Axis{"X", &Triple::X}, Axis{"Y", &Triple::Y}, Axis{"Z", &Triple::Z}};

bool HasNumber(const Triple& t) { return std::isfinite(t.X) || std::isfinite(t.Y) || std::isfinite(t.Z); }

bool HasAny(const GroundPrecisionFigure& point) {
  return HasNumber(point.Deviation) || HasNumber(point.Test) || HasNumber(point.Redundancy) ||
         HasNumber(point.Smallest) || HasNumber(point.Effect);
}

// Those of one kind, the largest test value first.
Points SortedOf(const std::vector<GroundPrecisionFigure>& points, bool control) {
  Points sorted;
  for (const GroundPrecisionFigure& point : points)
    if (point.bControl == control && HasAny(point)) sorted.push_back(&point);
  std::ranges::stable_sort(
      sorted, [](const auto* a, const auto* b) { return LargestOf(a->Test) > LargestOf(b->Test); });
  return sorted;
}

struct Tally {
  int64_t nTested = 0, nBeyond = 0;  // coordinates
};

Tally TallyOf(const Points& points) {
  Tally tally;
  for (const GroundPrecisionFigure* point : points)
    for (const Axis& axis : kAxes) {
      const double test = point->Test.*axis.pValue;
      tally.nTested += std::isfinite(test) ? 1 : 0;
      tally.nBeyond += IsBeyondTest(test) ? 1 : 0;
    }
  return tally;
}

std::string CountsText(const Points& points, const char* kind) {
  const Tally tally = TallyOf(points);
  const std::string number = Counted(static_cast<int64_t>(points.size()), kind);
  if (tally.nTested == 0) return fmt::format("Of {} nothing can be tested. ", number);
  return fmt::format(
      "Of {} {} tested, and {} beyond {}. ", number,
      Counted(tally.nTested, "coordinate") + (tally.nTested == 1 ? " is" : " are"),
      tally.nBeyond == 0 ? "none is" : Thousands(tally.nBeyond) + (tally.nBeyond == 1 ? " is" : " are"),
      kCriticalTest);
}

std::string Lead(const Points& control, const Points& check) {
  std::string text;
  if (!control.empty()) text += CountsText(control, "control point");
  if (!check.empty()) text += CountsText(check, "check point");
  text += "Of sound ones it is one in 1,000.";
  if (TallyOf(control).nBeyond > 0)
    text +=
        " ! Look at the control points that are marked: at their "
        "coordinates, their identification in the "
        "images and their standard deviations. Make one a check point and "
        "run again: where it still differs, "
        "it is wrong.";
  if (TallyOf(check).nBeyond > 0)
    text +=
        " ! Check points that are marked differ by more than the standard "
        "deviations allow: they are wrong "
        "themselves, or the block is bent there, or its observations are "
        "worse than stated.";
  return Paragraph(text);
}

int DecimalsAmong(const Points& points) {
  std::vector<double> deviations;
  for (const GroundPrecisionFigure* point : points)
    for (const Axis& axis : kAxes) deviations.push_back(point->Deviation.*axis.pValue);
  return DecimalsFor(std::move(deviations));
}

std::string TestCell(double test) { return (IsBeyondTest(test) ? "! " : "") + Signed(test, 2); }

std::string CaptionOf(const Points& points, const char* kind) {
  const auto number = static_cast<int64_t>(points.size());
  if (points.size() <= kRows) return Counted(number, kind);
  return fmt::format("The {} with the largest test values of {}", kRows, Counted(number, kind));
}

// A row for each coordinate.
std::string ControlTable(const Points& points, const std::string& unit) {
  if (points.empty()) return {};
  HtmlTable table({{"Point"},
                   {"rays", true},
                   {"axis"},
                   {"standard deviation, " + unit, true},
                   {"w", true},
                   {"redundancy", true},
                   {"smallest error found, " + unit, true},
                   {"effect", true}},
                  CaptionOf(points, "control point"));
  const int decimals = DecimalsAmong(points);
  for (size_t i = 0; i < std::min(kRows, points.size()); ++i) {
    const GroundPrecisionFigure& point = *points[i];
    for (const auto& [name, axis] : kAxes)
      table.Row({point.szPoint, Thousands(int64_t{point.nRays}), name, Fixed(point.Deviation.*axis, decimals),
                 TestCell(point.Test.*axis), Fixed(point.Redundancy.*axis, 2),
                 Fixed(point.Smallest.*axis, decimals), Fixed(point.Effect.*axis, 1)},
                IsBeyondTest(point.Test.*axis) ? "doubtful" : "");
  }
  return "<div>" + std::move(table).Finish() +
         Paragraph(
             "w is the residual of the coordinate by its own standard "
             "deviation. Redundancy: 1 where the "
             "others control the coordinate in full, 0 where nothing "
             "does. An error of the smallest size "
             "or more is found in four cases of five; one that is not "
             "moves results by at most the "
             "effect, in standard deviations of each. A dash: not "
             "observed, held, or controlled by hardly anything.",
             "hint") +
         "</div>\n";
}

std::string CheckTable(const Points& points, const std::string& unit) {
  if (points.empty()) return {};
  const std::string deviation = "standard deviation ";
  HtmlTable table({{"Point"},
                   {"rays", true},
                   {deviation + "X, " + unit, true},
                   {"Y, " + unit, true},
                   {"Z, " + unit, true},
                   {"w of X", true},
                   {"w of Y", true},
                   {"w of Z", true}},
                  CaptionOf(points, "check point"));
  const int decimals = DecimalsAmong(points);
  for (size_t i = 0; i < std::min(kRows, points.size()); ++i) {
    const GroundPrecisionFigure& point = *points[i];
    const Triple &s = point.Deviation, &w = point.Test;
    table.Row({point.szPoint, Thousands(int64_t{point.nRays}), Fixed(s.X, decimals), Fixed(s.Y, decimals),
               Fixed(s.Z, decimals), TestCell(w.X), TestCell(w.Y), TestCell(w.Z)},
              IsBeyondTest(w) ? "doubtful" : "");
  }
  return "<div>" + std::move(table).Finish() +
         Paragraph(
             "w is the difference by its standard deviation, which comes "
             "from the adjusted point and "
             "from the survey of the check point. A dash: not tested.",
             "hint") +
         "</div>\n";
}

std::string Pictures(const Points& control, const Points& check, const char* unit) {
  Points all = control;
  all.insert(all.end(), check.begin(), check.end());
  return FigureOf(TestPicture(all),
                  "Test values, by point. Sound ones lie about 0 and within "
                  "the dashed lines; all of one axis on "
                  "one side of 0 are a shift. Those beyond the scale stand at "
                  "its rim.") +
         FigureOf(HeightPicture(all, unit),
                  "The least known heights. Points far above the median lie at "
                  "the rim, or in few images.");
}

}  // namespace

std::string GroundPrecisionPart(const std::vector<GroundPrecisionFigure>& points, const char* unit) {
  const Points control = SortedOf(points, true), check = SortedOf(points, false);
  if (control.empty() && check.empty()) return {};
  return SubHeading("Control and check points") + Lead(control, check) +
         SideBySide(Pictures(control, check, unit) + ControlTable(control, unit) + CheckTable(check, unit));
}

}  // namespace orvo::report
