#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "report/Asprs.h"
#include "report/html/GroundPictures.h"
#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/Sections.h"
#include "verdict/VerdictLimits.h"

namespace orvo::report {

namespace {

constexpr size_t kRows = 2000, kDrawn = 1000, kWorstDrawn = 20;
constexpr int64_t kLeastForMedian = 4;

// Length in space; points without a difference come first.
double SizeOf(const GroundPointFigure& point) {
  const Triple& d = point.Difference;
  const double size = std::hypot(d.X, d.Y, d.Z);
  return point.bIntersected && std::isfinite(size) ? size : std::numeric_limits<double>::infinity();
}

std::vector<const GroundPointFigure*> WorstFirst(const std::vector<GroundPointFigure>& points) {
  std::vector<const GroundPointFigure*> sorted;
  sorted.reserve(points.size());
  for (const GroundPointFigure& point : points) sorted.push_back(&point);
  std::ranges::stable_sort(
      sorted, [](const GroundPointFigure* a, const GroundPointFigure* b) { return SizeOf(*a) > SizeOf(*b); });
  return sorted;
}

// Those with a difference: all, or the worst and of the others as many of each size as there are.
std::vector<const GroundPointFigure*> DrawnOf(const std::vector<const GroundPointFigure*>& worstFirst) {
  std::vector<const GroundPointFigure*> drawn;
  const size_t step = (worstFirst.size() + kDrawn - 1) / kDrawn;
  for (size_t i = 0; i < worstFirst.size(); ++i)
    if (std::isfinite(SizeOf(*worstFirst[i])) && (drawn.size() < kWorstDrawn || i % step == 0))
      drawn.push_back(worstFirst[i]);
  return drawn;
}

// Differences above it stand out among those of their kind; infinite where there are too few.
double LimitOf(const std::vector<const GroundPointFigure*>& worstFirst, bool control) {
  std::vector<double> sizes;
  for (const GroundPointFigure* point : worstFirst)
    if (point->bControl == control && std::isfinite(SizeOf(*point))) sizes.push_back(SizeOf(*point));
  if (static_cast<int64_t>(sizes.size()) < kLeastForMedian) return std::numeric_limits<double>::infinity();
  return VerdictLimits{}.fGroundRatio * sizes[sizes.size() / 2];
}

// Three digits of the smallest RMSE.
int DecimalsFor(const GroundFigures& ground) {
  double least = std::numeric_limits<double>::infinity();
  for (const GroundStatistics* s : {&ground.Control, &ground.Check})
    for (const double rmse : {s->Rmse.X, s->Rmse.Y, s->Rmse.Z})
      if (rmse > 0) least = std::min(least, rmse);
  return std::isfinite(least) ? std::clamp(DecimalsOf(least, 2), 2, 6) : 3;
}

std::string Lead(const RunFigures& figures, int decimals) {
  const GroundFigures& ground = figures.Ground;
  std::string text = fmt::format(
      "{} and {} are measured in the images. ",
      Counted(std::ranges::count_if(ground.vPoints, &GroundPointFigure::bControl), "control point"),
      Counted(std::ranges::count_if(ground.vPoints, [](const auto& point) { return !point.bControl; }),
              "check point"));
  if (ground.Check.nNum > 0)
    text += fmt::format(
        "Check points took no part in the adjustment: their RMSE of {} m horizontally and {} m in height "
        "is what the block shows of its accuracy on the ground.",
        Fixed(ground.Check.fHorizontal, decimals), Fixed(ground.Check.Rmse.Z, decimals));
  else if (std::ranges::any_of(ground.vPoints, [](const auto& point) { return !point.bControl; }))
    text +=
        "None of the check points could be intersected, so that nothing independent tells the accuracy: "
        "their rays do not meet, as those of a wrong result.";
  else
    text +=
        "Without check points nothing independent tells the accuracy: control points fit because the block "
        "was "
        "brought onto them. Make some of them check points, well spread, and run again.";
  const auto apart =
      std::ranges::count_if(ground.vPoints, [](const auto& point) { return !point.bIntersected; });
  if (apart > 0)
    text += fmt::format(" {} no difference, as the rays do not meet in one place.",
                        Counted(apart, "point") + (apart == 1 ? " has" : " have"));
  return Paragraph(text);
}

void AddRow(HtmlTable& table, const char* name, const Triple& t, int decimals, const std::string& horizontal,
            const char* style = "") {
  table.Row({name, Fixed(t.X, decimals), Fixed(t.Y, decimals), Fixed(t.Z, decimals), horizontal}, style);
}

std::string Statistics(const char* kind, const GroundStatistics& all, const GroundStatistics& listed,
                       int decimals) {
  if (all.nNum <= 0 && listed.nNum <= 0) return {};
  HtmlTable table({{"metres"}, {"X", true}, {"Y", true}, {"Z", true}, {"horizontal", true}},
                  fmt::format("{}: {} with a difference", kind, Thousands(all.nNum)));
  const auto horizontal = [&](const Triple& t) { return Fixed(std::hypot(t.X, t.Y), decimals); };
  if (all.nNum > 0) {
    table.Row({"mean", Signed(all.Mean.X, decimals), Signed(all.Mean.Y, decimals),
               Signed(all.Mean.Z, decimals), horizontal(all.Mean)});
    if (all.nNum > 1) AddRow(table, "standard deviation", all.Deviation, decimals, "");
    AddRow(table, "RMSE", all.Rmse, decimals, Fixed(all.fHorizontal, decimals), "changed");
  }
  if (listed.nNum > 0) {
    // No survey is met to the last digit: nothing but 0 is a count without figures.
    const bool known = listed.Rmse.X != 0 || listed.Rmse.Y != 0 || listed.Rmse.Z != 0;
    const Triple rmse = known ? listed.Rmse : Triple{NAN, NAN, NAN};
    AddRow(table, "RMSE as listed", rmse, decimals, horizontal(rmse));
  }
  return "<div>" + std::move(table).Finish() + "</div>\n";
}

std::string PointTable(const std::vector<const GroundPointFigure*>& worstFirst, int decimals) {
  HtmlTable table({{"Point"},
                   {"kind"},
                   {"rays", true},
                   {"dX, m", true},
                   {"dY, m", true},
                   {"dZ, m", true},
                   {"horizontal, m", true},
                   {"RMSE, px", true},
                   {"worst, px", true},
                   {"worst in image"}});
  const double limits[] = {LimitOf(worstFirst, false), LimitOf(worstFirst, true)};
  for (size_t i = 0; i < std::min(kRows, worstFirst.size()); ++i) {
    const GroundPointFigure& point = *worstFirst[i];
    const Triple& d = point.Difference;
    const bool has = point.bIntersected;
    const double limit = limits[point.bControl ? 1 : 0];
    const bool beyond = has && SizeOf(point) > limit;
    table.Row(
        {point.szName, point.bControl ? "control" : "check", Thousands(int64_t{point.nRays}),
         has ? Signed(d.X, decimals) : "no difference", has ? Signed(d.Y, decimals) : "",
         has ? Signed(d.Z, decimals) : "", has ? Fixed(std::hypot(d.X, d.Y), decimals) : "",
         has ? Fixed(point.fRmse, 2) : "", has ? Fixed(point.fWorst, 2) : "", has ? point.szWorstImage : ""},
        beyond ? "doubtful" : "");
  }
  std::string text =
      "Differences are computed less given coordinates, the largest first. Marked rows are more than "
      "five times the median of their kind.";
  if (worstFirst.size() > kRows)
    text += fmt::format(" The {} with the largest of {} are listed; all are counted above.",
                        Thousands(int64_t{kRows}), Thousands(static_cast<int64_t>(worstFirst.size())));
  return Paragraph(text, "hint") + std::move(table).Finish();
}

std::string List(const std::vector<std::string>& texts) {
  std::string html;
  for (const std::string& text : texts) html += Paragraph(text);
  return html;
}

std::string Standard(const GroundFigures& ground) {
  const AsprsStatement statement = StateByAsprs(ground);
  std::string html = SubHeading("By the ASPRS standard, edition 2");
  HtmlTable table({{"cm"},
                   {"against check points", true},
                   {"of their survey", true},
                   {"together", true},
                   {"class", true}});
  const auto add = [&](const char* name, const AsprsAccuracy& accuracy) {
    const auto cell = [](const std::optional<double>& value) {
      return value ? Significant(100 * *value, 3) : std::string("not known");
    };
    table.Row({name, Significant(100 * accuracy.fFit, 3), cell(accuracy.fSurvey), cell(accuracy.fAccuracy),
               statement.vSentences.empty() ? "" : cell(accuracy.fClass)});
  };
  if (statement.nCheckPoints > 0) {
    add("horizontal (RMSE_H)", statement.Horizontal);
    add("vertical (RMSE_V)", statement.Vertical);
  }
  for (const std::string& sentence : statement.vSentences) html += Paragraph(sentence, "lead");
  if (!statement.vMissing.empty())
    html += Paragraph(statement.vSentences.empty()
                          ? "No accuracy is stated by this standard, for its rules do not hold:"
                          : "One of the two sentences is left out, for the rules do not hold:");
  html += List(statement.vMissing) + List(statement.vRemarks) + std::move(table).Finish();
  if (!statement.vSentences.empty())
    html += Paragraph(
        "Lengths are taken for metres. The class is the smallest that the figures meet; the vertical "
        "sentence "
        "holds where the check points lie on open ground. Points have to be independent of the control, "
        "and spread over the block.",
        "hint");
  return html;
}

}  // namespace

std::string GroundSection(const RunFigures& figures) {
  const GroundFigures& ground = figures.Ground;
  if (ground.vPoints.empty()) return {};
  const std::vector<const GroundPointFigure*> worstFirst = WorstFirst(ground.vPoints);
  const int decimals = DecimalsFor(ground);
  const std::vector<const GroundPointFigure*> drawn = DrawnOf(worstFirst);
  std::string caption =
      "Differences, computed less given. Points all about 0 are noise; a cloud beside 0 is a shift. Arrows "
      "at the rim "
      "stand for points that are off by more than the picture shows.";
  if (worstFirst.size() > kDrawn)
    caption += fmt::format(" Drawn are {} of {}, the worst {} among them.",
                           Thousands(static_cast<int64_t>(drawn.size())),
                           Thousands(static_cast<int64_t>(worstFirst.size())), kWorstDrawn);
  std::string html = Lead(figures, decimals);
  html += SideBySide(
      FigureOf(DifferencePicture(drawn, ground), caption) + "<div>" +
      Statistics("Check points", ground.Check, ground.ListedCheck, decimals) +
      Statistics("Control points", ground.Control, ground.ListedControl, decimals) +
      Paragraph("The figures as listed are those of OrvoAdjustReport.txt, from the adjustment's own "
                "intersection; the others come from rays that all weigh the same.",
                "hint") +
      "</div>\n");
  html += Standard(ground);
  html += SubHeading("Every point") + PointTable(worstFirst, decimals);
  return SectionOf("ground", "Control and check points", html);
}

}  // namespace orvo::report
