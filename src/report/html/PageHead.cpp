#include "report/html/PageHead.h"

#include <fmt/format.h>

#include <cmath>

#include "report/html/HtmlText.h"
#include "report/html/LengthUnit.h"
#include "report/html/Numbers.h"
#include "report/html/ShortName.h"

namespace orvo::report {
namespace {

std::string Tile(const char* term, const std::string& value, const std::string& note,
                 const char* style = "") {
  std::string text = *style == '\0' ? std::string("<li>") : fmt::format("<li class=\"{}\">", style);
  text += fmt::format("<span class=\"term\">{}</span> <b>{}</b>", term, HtmlText(value));
  if (!note.empty()) text += fmt::format(" <span class=\"note\">{}</span>", HtmlText(note));
  return text + "</li>\n";
}

std::string GroundTile(const RunFigures& figures) {
  const GroundStatistics& check = figures.Ground.Check;
  const bool checked = check.nNum > 0;
  const GroundStatistics& shown = checked ? check : figures.Ground.Control;
  if (shown.nNum <= 0 || !std::isfinite(shown.fHorizontal)) return {};
  const int decimals = DecimalsOf(shown.fHorizontal, 2);
  return Tile(checked ? "RMSE at check points" : "RMSE at control points",
              Fixed(shown.fHorizontal, decimals) + " m",
              fmt::format("in plan; {} m in height; {}", Fixed(shown.Rmse.Z, decimals),
                          Counted(shown.nNum, "point")));
}

std::string ImageTile(const RunFigures& figures) {
  const BlockCounts& counts = figures.Counts;
  if (counts.nImages == 0 && counts.nImagesInFile == 0) return {};
  std::string note = Counted(counts.nCameras, "camera");
  if (counts.nStrips > 0) note += ", " + Counted(counts.nStrips, "strip");
  const std::string value =
      counts.nImages == counts.nImagesInFile
          ? Thousands(int64_t{counts.nImages})
          : Thousands(int64_t{counts.nImages}) + " of " + Thousands(int64_t{counts.nImagesInFile});
  return Tile("Images", value, note);
}

}  // namespace

std::string GradeWord(const RunFigures& figures) {
  if (!figures.bDone) return "failed";
  if (!figures.Judgement.bJudged) return "not judged";
  return GradeName(figures.Judgement.Result);
}

const char* GradeStyle(const RunFigures& figures) {
  if (!figures.bDone) return "unusable";
  return figures.Judgement.bJudged ? GradeName(figures.Judgement.Result) : "";
}

const char* GradeSign(const RunFigures& figures) {
  if (!figures.bDone) return "\xe2\x9c\x95";
  if (!figures.Judgement.bJudged) return "\xe2\x80\x93";
  switch (figures.Judgement.Result) {
    case Grade::Good:
      return "\xe2\x9c\x93";
    case Grade::Doubtful:
      return "!";
    case Grade::Unusable:
      return "\xe2\x9c\x95";
  }
  return "";
}

std::string BlockName(const RunFigures& figures) {
  std::string name = figures.szProject.substr(figures.szProject.find_last_of("/\\") + 1);
  const size_t point = name.find_last_of('.');
  if (point != std::string::npos && point > 0) name.resize(point);
  return name.empty() ? "Block without a name" : ShortName(name, kHeadLetters);
}

std::string PageHead(const RunFigures& figures) {
  std::string tiles =
      Tile(figures.bDone ? "Verdict" : "Run", fmt::format("{} {}", GradeSign(figures), GradeWord(figures)),
           {}, GradeStyle(figures));
  tiles += ImageTile(figures);
  const ResidualFigure& kept = figures.Residuals.StrictKept;
  if (kept.nMeasurements > 0) {
    tiles +=
        Tile("RMSE in the images", fmt::format("{} / {} px", Fixed(kept.Rmse.x, 2), Fixed(kept.Rmse.y, 2)),
             fmt::format("x / y; {}", Counted(kept.nMeasurements, "measurement")));
  }
  tiles += GroundTile(figures);
  if (figures.Points.fGsd > 0) {
    tiles +=
        Tile("Ground size of a pixel", Significant(figures.Points.fGsd, 3) + " " + LengthUnit(figures), {});
  }
  if (figures.fSeconds > 0) {
    tiles += Tile("Time", Duration(figures.fSeconds),
                  figures.vIterations.empty()
                      ? std::string()
                      : Counted(static_cast<int64_t>(figures.vIterations.size()), "iteration"));
  }
  std::string head = fmt::format("<h1>{}</h1>\n", HtmlText(BlockName(figures)));
  if (!figures.szBegin.empty()) {
    head +=
        fmt::format("<p class=\"hint\">Bundle adjustment report, run of {}</p>\n", HtmlText(figures.szBegin));
  }
  head += "<ul class=\"tiles\">\n" + tiles + "</ul>\n";
  if (!HasScale(figures) && figures.bDone) {
    head +=
        "<p class=\"hint\">Neither control points nor GPS tell the scale of this block: lengths on the "
        "ground are in the units that its start orientations came in.</p>\n";
  }
  return head;
}

}  // namespace orvo::report
