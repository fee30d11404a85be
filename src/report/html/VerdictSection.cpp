#include <fmt/format.h>

#include <algorithm>

#include "report/html/HtmlParts.h"
#include "report/html/HtmlText.h"
#include "report/html/Numbers.h"
#include "report/html/PageHead.h"
#include "report/html/Sections.h"
#include "report/html/ShortName.h"

namespace orvo::report {
namespace {

constexpr size_t kMostFindings = 200;

constexpr const char* kNotSeen =
    "An error that all measurements share can't be seen, such as heights of all control points off by the "
    "same amount or a wrong coordinate system; nor does the verdict know how precise the result is. Check "
    "points that took no part in the adjustment are the best test there is.";

/// What was judged, and what was not.
const char* RulesOf(const RunFigures& figures) {
  if (figures.bAdjusted)
    return "Good means that none of the rules of the verdict was broken: the computation came to its end, "
           "the measurements agree with each other, and control points and GPS agree with them.";
  return "This run adjusted nothing: it took the orientations as they were given, moved and turned the "
         "block as a whole at most, and intersected the points. Judged were: whether the figures are finite, "
         "points before their cameras, single images, cameras, control and check points that are far worse "
         "than the others, and how the images hang together. Not judged were: whether the orientations are "
         "the best ones, the change of the cameras, and the size of what is left over in the images and on "
         "the ground, which is that of the given orientations. Good says nothing of these: read the RMSE "
         "below.";
}

const char* MeaningOf(const RunFigures& figures) {
  if (!figures.bDone) {
    return "The run ended before it had a result. Results of earlier runs in the output folder are as they "
           "were.";
  }
  if (!figures.Judgement.bJudged) return "Nobody asked for a verdict on this result.";
  switch (figures.Judgement.Result) {
    case Grade::Good:
      if (!figures.bAdjusted)
        return "Nothing was found that speaks against the result by the rules that were judged. The "
               "orientations were not adjusted, so that these rules are few.";
      return "Nothing was found that speaks against the result.";
    case Grade::Doubtful:
      return "The result may serve, but somebody should look at the reasons below first.";
    case Grade::Unusable:
      return "The result is wrong and should not be used. The reasons below say why, and what helps.";
  }
  return "";
}

std::string GradeBox(const RunFigures& figures) {
  const bool failed = !figures.bDone;
  std::string text =
      fmt::format("<div class=\"grade {}\"><p><strong>{} {}</strong></p>\n", GradeStyle(figures),
                  GradeSign(figures), failed ? "The run failed" : GradeWord(figures));
  text += Paragraph(MeaningOf(figures));
  if (!figures.szFailure.empty()) text += Paragraph("Why: " + ShortText(figures.szFailure));
  return text + "</div>\n";
}

std::string ReasonList(const std::vector<VerdictReason>& reasons) {
  if (reasons.empty()) return {};
  std::string text = "<ul class=\"reasons\">\n";
  for (const VerdictReason& reason : reasons) {
    const char* grade = GradeName(reason.Weight);
    const char* sign = reason.Weight == Grade::Unusable ? "\xe2\x9c\x95" : "!";
    text += fmt::format("<li class=\"{0}\"><b class=\"{0}\">{1} {0}</b>", grade, sign);
    text += Paragraph(ShortText(reason.szWhat) + ".");
    if (!reason.szLimit.empty()) text += Paragraph("Limit: " + reason.szLimit + ".", "hint");
    if (!reason.szRemedy.empty()) text += Paragraph("What to do: " + ShortText(reason.szRemedy) + ".");
    text += "</li>\n";
  }
  return text + "</ul>\n";
}

std::string PlaceOf(const Finding& finding) {
  if (finding.nLine > 0) return fmt::format("{}, line {}", finding.szFile, finding.nLine);
  if (finding.nByte >= 0) return fmt::format("{}, byte {}", finding.szFile, finding.nByte);
  return finding.szFile;
}

std::string FindingTable(const std::vector<Finding>& findings) {
  if (findings.empty()) return {};
  HtmlTable table(
      {{"Kind"}, {"Where"}, {"What was found", false, true}, {"What helps", false, true}, {"Code"}});
  const size_t shown = std::min(findings.size(), kMostFindings);
  // The gravest first; an error is the first value.
  for (const Severity weight : {Severity::Error, Severity::Warning, Severity::Note}) {
    size_t row = 0;
    for (size_t i = 0; i < findings.size() && row < shown; ++i) {
      const Finding& finding = findings[i];
      if (finding.Weight != weight) continue;
      ++row;
      table.Row({NameOf(weight), PlaceOf(finding), finding.szWhat, finding.szRemedy, finding.szCode},
                weight == Severity::Error     ? "unusable"
                : weight == Severity::Warning ? "doubtful"
                                              : "");
    }
  }
  std::string text = SubHeading("What was found in the inputs");
  text += std::move(table).Finish();
  if (findings.size() > kMostFindings) {
    text += Paragraph(fmt::format("Of {} findings the first {} of each kind at most are shown.",
                                  Thousands(static_cast<int64_t>(findings.size())), kMostFindings),
                      "hint");
  }
  return text;
}

}  // namespace

std::string VerdictSection(const RunFigures& figures) {
  std::string body = GradeBox(figures);
  if (figures.Judgement.bJudged) body += ReasonList(figures.Judgement.vReasons);
  body += FindingTable(figures.vFindings);
  if (figures.bDone && figures.Judgement.bJudged) {
    body += Paragraph(fmt::format("{} It is no proof. {}", RulesOf(figures), kNotSeen), "hint");
  }
  return SectionOf("verdict", figures.bDone ? "Verdict" : "What happened", body);
}

}  // namespace orvo::report
