#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "report/html/Frames.h"
#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

constexpr double kWidth = 520, kHeight = 290;
constexpr Box kArea = {56, 32, kWidth - 72, kHeight - 32 - 68};

using Iterations = std::vector<IterationFigure>;

/// Where residuals fall over more than that, their axis is a logarithmic one.
constexpr double kWideFall = 20;

/// Smaller corrections than that share of the largest stand at the foot of the axis: a last step that damping
/// has stopped is 1e-50 of the others, which would then lie in one line.
constexpr double kLeastShown = 1e-8;

ChartAxis NumberAxis(const Iterations& iterations) {
  const double last = iterations.back().nNumber, first = iterations.front().nNumber;
  return last > first ? ChartAxis{first, last} : ChartAxis{first - 1, last + 1};
}

ChartAxis RmseAxis(const Iterations& iterations) {
  double low = HUGE_VAL, high = 0;
  for (const IterationFigure& it : iterations) {
    for (const double value : {it.Rmse.x, it.Rmse.y}) {
      if (!std::isfinite(value) || value <= 0) continue;
      low = std::min(low, value);
      high = std::max(high, value);
    }
  }
  if (!(high > 0)) return {0, 1};
  return high > kWideFall * low ? LogAxisOf(low, high) : ChartAxis{0, 1.08 * high};
}

void DrawSeries(Svg& svg, const Chart& chart, const Iterations& iterations,
                double (*value)(const IterationFigure&), const char* line, const char* mark, bool square,
                const char* unit) {
  std::vector<Pair> points;
  std::string tips;
  for (const IterationFigure& it : iterations) {
    const double v = value(it);
    if (!std::isfinite(v) || (chart.Y.bLog && v <= 0)) continue;
    points.push_back(chart.At(it.nNumber, v));
  }
  svg.Polyline(points, line);
  size_t next = 0;
  for (const IterationFigure& it : iterations) {
    const double v = value(it);
    if (!std::isfinite(v) || (chart.Y.bLog && v <= 0)) continue;
    const Pair at = points[next++];
    const std::string tip = fmt::format("iteration {}: {}{}", it.nNumber, Significant(v, 4), unit);
    if (square) {
      svg.Rect(at.x - 3.5, at.y - 3.5, 7, 7, mark, tip);
    } else {
      svg.Circle(at.x, at.y, 4, mark, tip);
    }
  }
}

std::string RmseFigure(const Iterations& iterations) {
  Svg svg(kWidth, kHeight, "RMSE by iteration",
          fmt::format("From {} px in x and {} px in y at the first iteration to {} px and {} px at the last.",
                      Fixed(iterations.front().Rmse.x, 3), Fixed(iterations.front().Rmse.y, 3),
                      Fixed(iterations.back().Rmse.x, 3), Fixed(iterations.back().Rmse.y, 3)));
  const Chart chart{kArea, NumberAxis(iterations), RmseAxis(iterations)};
  DrawAxes(svg, chart, {"Iteration", chart.Y.bLog ? "RMSE, pixels (logarithmic)" : "RMSE, pixels"});
  DrawSeries(
      svg, chart, iterations, [](const IterationFigure& it) { return it.Rmse.x; }, "line s1", "dot s1", false,
      " px in x");
  DrawSeries(
      svg, chart, iterations, [](const IterationFigure& it) { return it.Rmse.y; }, "line s2 dashed", "dot s2",
      true, " px in y");
  DrawLegend(svg, {{LegendShape::Dot, "dot s1", "in x"}, {LegendShape::Square, "dot s2", "in y"}},
             kArea.fLeft, kHeight - 14, kArea.fWidth);
  return FigureOf(
      std::move(svg).Finish(),
      "How far the measurements in the images are from where the model has them (root mean square). It "
      "should fall and then stay level; a line that still falls at its end would gain from more iterations.");
}

std::string CorrectionFigure(Iterations iterations) {
  const auto held = std::erase_if(iterations, IsHeld);
  if (iterations.empty()) return {};
  double low = HUGE_VAL, high = 0;
  for (const IterationFigure& it : iterations) {
    const double size = std::fabs(it.fLargest);
    if (!std::isfinite(size) || size <= 0) continue;
    low = std::min(low, size);
    high = std::max(high, size);
  }
  if (!(high > 0)) return {};
  Svg svg(kWidth, kHeight, "Largest correction by iteration",
          fmt::format("From {} at most to {} at least.", Significant(high, 3), Significant(low, 3)));
  const Chart chart{kArea, NumberAxis(iterations), LogAxisOf(std::max(low, kLeastShown * high), high)};
  DrawAxes(svg, chart, {"Iteration", "Largest correction (logarithmic)"});
  DrawSeries(
      svg, chart, iterations, [](const IterationFigure& it) { return std::fabs(it.fLargest); }, "line s3",
      "dot s3", false, "");
  std::string caption =
      "The largest change that an iteration made to any unknown, whatever its unit. It falls as the "
      "computation settles.";
  if (held > 0) caption += " Iterations whose step was held by a damping above 1 are left out.";
  if (low < kLeastShown * high) caption += " Steps that came to nothing are drawn at the foot.";
  return FigureOf(std::move(svg).Finish(), caption);
}

std::string IterationTable(const Iterations& iterations, bool solver) {
  std::vector<TableColumn> columns = {{"Iteration", true},      {"RMSE x, px", true}, {"RMSE y, px", true},
                                      {"Largest change", true}, {"Used", true},       {"Gross", true},
                                      {"Gross share", true},    {"Damping", true},    {"Time", true}};
  if (solver) columns.push_back({"Solver steps", true});
  HtmlTable table(columns);
  for (const IterationFigure& it : iterations) {
    const bool counted = it.nUsed >= 0 && it.nGross >= 0;
    std::vector<std::string> row = {
        Thousands(int64_t{it.nNumber}),
        Fixed(it.Rmse.x, 4),
        Fixed(it.Rmse.y, 4),
        Significant(it.fLargest, 3),
        CountText(it.nUsed),
        CountText(it.nGross),
        counted ? Share(it.nGross, it.nUsed + it.nGross, 2) : CountText(kUnknownCount),
        Short(it.fDamping, 2),
        Duration(it.fSeconds)};
    if (solver) row.push_back(CountText(it.nSolverSteps));
    table.Row(row);
  }
  return std::move(table).Finish();
}

const char* EndOf(const RunFigures& figures) {
  if (figures.bConverged) return "the computation has settled";
  if (!IsHeld(figures.vIterations.back())) return "the computation has not settled";
  return "damping ended it: it grows behind the number of iterations that the settings give, until nothing "
         "moves any more. Whether there was something left to gain, the verdict tells";
}

}  // namespace

std::string IterationSection(const RunFigures& figures) {
  const Iterations& iterations = figures.vIterations;
  if (iterations.empty()) return {};
  const bool solver =
      std::ranges::any_of(iterations, [](const IterationFigure& it) { return it.nSolverSteps > 0; });
  std::string body = Paragraph(
      fmt::format("{}; {}. Residuals are those before the step of their iteration. Gross measurements are "
                  "those so far off that they were left out of it.",
                  Counted(static_cast<int64_t>(iterations.size()), "iteration"), EndOf(figures)));
  body += SideBySide(RmseFigure(iterations) + CorrectionFigure(iterations));
  body += IterationTable(iterations, solver);
  return SectionOf("iteration", "Iterations", body);
}

}  // namespace orvo::report
