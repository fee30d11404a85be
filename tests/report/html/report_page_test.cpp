#include "report/html/ReportPage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>

#include "report/SampleFigures.h"
#include "report/html/HtmlText.h"
#include "report/html/LengthUnit.h"
#include "report/html/PageChecks.h"
#include "report/html/Sections.h"
#include "support/TestFiles.h"

namespace orvo::report {
namespace {

using test::AllBetween;
using test::CountOf;
using test::MakeFailedFigures;
using test::MakeSampleFigures;
using test::NastyName;
using test::PageOf;
using test::TagFault;
using test::WithNumbers;
using test::WithTexts;

/// Figures that a page has to stand.
std::vector<std::pair<std::string, RunFigures>> Runs() {
  RunFigures noPos = MakeSampleFigures(12);
  noPos.Pos.reset();
  for (ImageFigure& image : noPos.vImages) image.nStrip = -1;
  RunFigures stray = MakeSampleFigures(60);
  stray.vImages[3].Centre = {1e12, -1e12, 0};
  stray.Ground.vPoints[2].Given = {-1e9, 1e9, 0};
  RunFigures hollow = MakeSampleFigures(40);
  for (Histogram* histogram :
       {&hollow.Points.Rays, &hollow.Points.Angles, &hollow.Residuals.X, &hollow.Residuals.Y}) {
    histogram->vCounts.clear();
  }
  for (report::CameraFigure& camera : hollow.vCameras) {
    camera.vField.clear();
    camera.vRings.clear();
  }
  return {{"sample", MakeSampleFigures(40)},
          {"without GPS", noPos},
          {"with strays", stray},
          {"hollow", hollow},
          {"failed", MakeFailedFigures()},
          {"empty", RunFigures{}},
          {"nasty", WithTexts(MakeSampleFigures(40), NastyName())},
          {"long names", WithTexts(MakeSampleFigures(40), std::string(5000, 'x'))},
          {"no numbers", WithNumbers(MakeSampleFigures(40), NAN)},
          {"infinite", WithNumbers(MakeSampleFigures(40), INFINITY)},
          {"zero", WithNumbers(MakeSampleFigures(40), 0)},
          {"equal", WithNumbers(MakeSampleFigures(40), 1.5)},
          {"negative", WithNumbers(MakeSampleFigures(40), -1)},
          {"huge", WithNumbers(MakeSampleFigures(40), 1e308)},
          {"tiny", WithNumbers(MakeSampleFigures(40), 1e-308)}};
}

TEST(ReportPage, IsWholeWhateverTheFigures) {
  for (const auto& [name, figures] : Runs()) {
    const std::string page = PageOf(figures);
    EXPECT_EQ(TagFault(page), "") << name;
    EXPECT_TRUE(page.starts_with("<!DOCTYPE html>\n<html lang=\"en\">")) << name;
    EXPECT_TRUE(page.ends_with("</html>\n")) << name;
    EXPECT_EQ(CountOf(page, "<meta charset=\"utf-8\">"), 1u) << name;
    EXPECT_EQ(CountOf(page, "nan"), 0u) << name;
    EXPECT_EQ(CountOf(page, ">inf"), 0u) << name;
  }
}

TEST(ReportPage, IsCleanByTidy) {
  if (std::system("command -v tidy > /dev/null 2>&1") != 0) GTEST_SKIP() << "there is no tidy";
  const test::ScratchFolder folder;
  for (const auto& [name, figures] : Runs()) {
    test::WriteFile(folder / "report.html", PageOf(figures));
    const std::string command =
        "tidy -q -e '" + (folder / "report.html") + "' > '" + (folder / "said") + "' 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << name << "\n" << test::ReadFile(folder / "said");
  }
}

TEST(ReportPage, AsksForNothingFromElsewhere) {
  for (const auto& [name, figures] : Runs()) {
    const std::string page = PageOf(figures);
    for (const char* way :
         {"http:", "https:", "src=", "srcset=", "url(", "@import", "<script", "<img", "<iframe", "<object",
          "<embed", "<base", "xlink", "onload", "onerror=", "<form"}) {
      EXPECT_EQ(CountOf(page, way), 0u) << name << ": " << way;
    }
    EXPECT_EQ(CountOf(page, "<link "), 1u) << name;
    EXPECT_EQ(CountOf(page, "<link rel=\"icon\" href=\"data:,\">"), 1u) << name;
    for (const std::string& target : AllBetween(page, "href=\"", "\"")) {
      EXPECT_TRUE(target == "data:," || target.starts_with("#")) << name << ": " << target;
    }
  }
}

TEST(ReportPage, ContentsLeadToEverySection) {
  for (const auto& [name, figures] : Runs()) {
    const std::string page = PageOf(figures);
    std::vector<std::string> sections = AllBetween(page, "<section id=\"", "\"");
    const std::vector<std::string> links = AllBetween(page, "<li><a href=\"#", "\"");
    EXPECT_EQ(sections, links) << name;
    const std::vector<std::string> ids = AllBetween(page, " id=\"", "\"");
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size()) << name;
  }
  EXPECT_EQ(AllBetween(PageOf(MakeSampleFigures(40)), "<section id=\"", "\""),
            (std::vector<std::string>{"verdict", "plan", "coverage", "iteration", "residual", "gross",
                                      "ground", "pos", "camera", "precision", "point", "run"}));
}

TEST(ReportPage, PicturesSayWhatTheyShow) {
  const std::string page = PageOf(MakeSampleFigures(40));
  const size_t pictures = CountOf(page, "<svg ");
  EXPECT_GT(pictures, 12u);
  EXPECT_EQ(CountOf(page, "<svg role=\"img\" "), pictures);
  for (const std::string& head : AllBetween(page, "<svg ", "</desc>")) {
    EXPECT_NE(head.find("><title>"), std::string::npos);
    EXPECT_NE(head.find("</title><desc>"), std::string::npos) << head;
    EXPECT_EQ(head.find("<title></title>"), std::string::npos);
  }
  EXPECT_EQ(CountOf(page, "<figure"), CountOf(page, "<figcaption>"));
  EXPECT_EQ(CountOf(page, "<figcaption></figcaption>"), 0u);
}

/// Every class that is drawn with is one of the style sheet.
TEST(ReportPage, ClassesAreThoseOfTheStyleSheet) {
  const std::string page = PageOf(MakeSampleFigures(40));
  const std::string style = AllBetween(page, "<style>", "</style>").at(0);
  std::set<std::string> classes;
  for (const std::string& list : AllBetween(page, " class=\"", "\"")) {
    for (size_t at = 0; at < list.size();) {
      const size_t end = std::min(list.find(' ', at), list.size());
      classes.insert(list.substr(at, end - at));
      at = end + 1;
    }
  }
  classes.erase("text");  // what a text is without further classes
  for (const std::string& name : classes) {
    const size_t at = style.find("." + name);
    ASSERT_NE(at, std::string::npos) << name;
  }
}

TEST(ReportPage, FiguresAreThoseOfTheRun) {
  const std::string page = PageOf(MakeSampleFigures(40));
  const char* const shown[] = {
      "<title>valley: doubtful</title>",
      "<h1>valley</h1>",
      "40 of 41",
      "0.59 / 0.65 px",
      "8,344 measurements",
      "0.140 m",  // ground size of a pixel
      "check point K-8 is 2.93 off.",
      "Limit: at most 0.42, three pixels on the ground.",
      "What to do: Look at the image, or leave it out.",
      "blocks/valley.gcp, line 17",
      "blocks/valley.ovt, byte 4096",
      "<td class=\"n\">1.7500</td><td class=\"n\">1.9250</td>",  // RMSE of the second iteration
      "<td class=\"n\">1.00 %</td>",                             // its gross share at the end
      "27.2 %",
      "Rays a tie point in squares of 120 m",
      "the weights 0.04 in plan and 0.02 in height",
      "standard deviation of 0.05 m in plan and 0.075 m in height",
      "<td class=\"n\">0.035</td><td class=\"n\">0.041</td><td class=\"n\">0.058</td>",  // RMSE of GPS
      "half of the points have more than 41.5 degrees",
      "<td class=\"n\">3.85</td>",
      "crc32:4e5f6071",
      "123 MB",
      "<td class=\"n\">8,440</td>",
      "GCC 12.2.0, Release",
      R"(<tr class="changed"><th scope="row">UseGps</th><td class="n">true</td><td>command line</td></tr>)",
      "iterating 21 s (78 %)",
      "734 MB",
      "8.6 GB"};
  for (const char* text : shown) EXPECT_NE(page.find(text), std::string::npos) << text;
  // What is not the default comes first.
  EXPECT_LT(page.find("ThreadNum"), page.find("MaxIterations"));
}

TEST(PosSection, AnOffsetFarFromTheOthersIsTold) {
  RunFigures figures = MakeSampleFigures(60);
  ASSERT_GE(figures.Pos->vStrips.size(), 4u);
  std::string text = PosSection(figures);
  EXPECT_NE(text.find("! The offset of strip 2 is far"), std::string::npos);
  EXPECT_NE(text.find("<tr class=\"doubtful\"><th scope=\"row\">! 2</th>"), std::string::npos);
  EXPECT_EQ(CountOf(text, "\"doubtful\""), 1u);
  for (DriftFigure& strip : figures.Pos->vStrips) strip.Constant = {0.1 * strip.nStrip, 0, 0};
  text = PosSection(figures);
  EXPECT_EQ(text.find("is far"), std::string::npos);
  EXPECT_EQ(CountOf(text, "\"doubtful\""), 0u);
  figures.Pos->vStrips[3].Constant.Z = -3 * figures.Points.fGsd - 1;
  EXPECT_NE(PosSection(figures).find("! The offset of strip 4 is far"), std::string::npos);
  figures.Pos->vStrips.resize(3);
  EXPECT_EQ(PosSection(figures).find("is far"), std::string::npos);
}

TEST(PosSection, WithoutGpsSaysSo) {
  RunFigures figures = MakeSampleFigures(12);
  figures.Pos->bGps = false;
  EXPECT_NE(PosSection(figures).find("Positions by GPS took no part"), std::string::npos);
  figures.Pos.reset();
  EXPECT_EQ(PosSection(figures), "");
}

TEST(PlanSection, StraysAreLeftOutAndCounted) {
  RunFigures figures = MakeSampleFigures(60);
  EXPECT_EQ(PlanSection(figures).find("so far away"), std::string::npos);
  figures.vImages[3].Centre = {1e12, -1e12, 0};
  const std::string text = PlanSection(figures);
  EXPECT_NE(text.find("1 image lies so far away that the map leaves them out."), std::string::npos);
  // The map is that of the others still.
  EXPECT_NE(text.find(">501,000</text>"), std::string::npos);
}

TEST(PlanSection, DifferencesAreDrawnARoundNumberOfTimesLarger) {
  RunFigures figures = MakeSampleFigures(40);
  EXPECT_NE(PlanSection(figures).find("drawn 2,000 times larger than the map"), std::string::npos);
  EXPECT_NE(PlanSection(figures).find("Dashed ones are longer than they could be drawn."), std::string::npos);
  for (GroundPointFigure& point : figures.Ground.vPoints) {
    point.Difference = {10 * point.Difference.X, 10 * point.Difference.Y, 10 * point.Difference.Z};
  }
  EXPECT_NE(PlanSection(figures).find("drawn 200 times larger than the map"), std::string::npos);
  for (GroundPointFigure& point : figures.Ground.vPoints) point.bIntersected = false;
  EXPECT_EQ(CountOf(PlanSection(figures), "<svg "), 1u);
}

/// Steps of the heat map by the mean of rays, told apart without colour where they are few.
TEST(CoverageSection, CellsOfFewRaysAreStruck) {
  RunFigures figures = MakeSampleFigures(12);
  struct {
    int64_t nRays;
    std::string szStyle;
    size_t nStrokes;
  } const cases[] = {{20, "h0", 2}, {24, "h0", 2}, {25, "h1", 1}, {29, "h1", 1}, {30, "h2", 0},
                     {40, "h3", 0}, {60, "h4", 0}, {90, "h5", 0}, {900, "h5", 0}};
  for (const auto& c : cases) {
    figures.Points.vCells = {{4, 4, 10, c.nRays, 100}};
    const std::string text = CoverageSection(figures);
    EXPECT_EQ(CountOf(text, "<path class=\"area " + c.szStyle), 1u) << c.nRays;
    const std::vector<std::string> strokes = AllBetween(text, "<path class=\"hatch\" d=\"", "\"");
    // Those of the two samples come last.
    ASSERT_EQ(strokes.size(), c.nStrokes > 0 ? 3u : 2u) << c.nRays;
    if (c.nStrokes > 0) {
      EXPECT_EQ(CountOf(strokes.front(), "M"), c.nStrokes) << c.nRays;
    }
  }
}

TEST(ReportPage, SaysTheGradeInWordsAndSigns) {
  RunFigures figures = MakeSampleFigures(12);
  struct {
    Grade Result;
    std::string szTitle, szSays;
  } const cases[] = {{Grade::Good, "valley: good", "Nothing was found that speaks against the result."},
                     {Grade::Doubtful, "valley: doubtful", "somebody should look at the reasons below first"},
                     {Grade::Unusable, "valley: unusable", "should not be used"}};
  for (const auto& c : cases) {
    figures.Judgement.Result = c.Result;
    const std::string page = PageOf(figures);
    EXPECT_NE(page.find("<title>" + c.szTitle + "</title>"), std::string::npos);
    EXPECT_NE(page.find(c.szSays), std::string::npos) << c.szSays;
    EXPECT_NE(page.find("It is no proof."), std::string::npos);
  }
  figures.Judgement.bJudged = false;
  EXPECT_NE(PageOf(figures).find("valley: not judged"), std::string::npos);
}

TEST(VerdictSection, WithoutAnAdjustmentSaysWhatWasNotJudged) {
  RunFigures figures = MakeSampleFigures(12);
  figures.Judgement.Result = Grade::Good;
  EXPECT_EQ(VerdictSection(figures).find("adjusted nothing"), std::string::npos);
  EXPECT_NE(VerdictSection(figures).find("control points and GPS agree with them"), std::string::npos);
  figures.bAdjusted = false;
  const std::string text = VerdictSection(figures);
  EXPECT_NE(text.find("by the rules that were judged"), std::string::npos);
  EXPECT_NE(text.find("This run adjusted nothing"), std::string::npos);
  EXPECT_NE(text.find("Not judged were: whether the orientations are the best"), std::string::npos);
  EXPECT_EQ(text.find("agree with"), std::string::npos);
  EXPECT_NE(text.find("It is no proof."), std::string::npos);
}

TEST(IterationSection, CountsThatNobodyTookAreDashes) {
  RunFigures figures = MakeSampleFigures(12);
  figures.vIterations.resize(1);
  figures.vIterations[0] = {1, {8.5, 9.5}, 3.75, -1, -1, -1, 0.5, 2.5};
  figures.vIterations.push_back({2, {NAN, NAN}, NAN, 90, 10, 7, 0.5, 2.5});
  const std::string text = IterationSection(figures), cell = "</td><td class=\"n\">";
  const std::string dash = "\xe2\x80\x93";
  EXPECT_NE(text.find("3.75" + cell + dash + cell + dash + cell + dash + cell + "0.5" + cell + "2.5 s" +
                      cell + dash + "</td></tr>"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("\">2</th><td class=\"n\">" + dash + cell + dash + cell + dash + cell + "90" + cell +
                      "10" + cell + "10.00 %"),
            std::string::npos)
      << text;
}

TEST(IterationSection, StepsThatDampingHeldAreNotDrawn) {
  RunFigures figures = MakeSampleFigures(12);
  const std::string all = IterationSection(figures);
  EXPECT_EQ(all.find("held by a damping"), std::string::npos);
  EXPECT_NE(all.find("the computation has settled"), std::string::npos);
  figures.bConverged = false;
  figures.vIterations.back().fDamping = 8;
  figures.vIterations.back().fLargest = 1e-13;
  const std::string text = IterationSection(figures);
  EXPECT_NE(text.find("held by a damping above 1 are left out"), std::string::npos);
  EXPECT_NE(text.find("damping ended it"), std::string::npos);
  EXPECT_EQ(CountOf(text, "class=\"dot s3\""), CountOf(all, "class=\"dot s3\"") - 1);
  for (IterationFigure& iteration : figures.vIterations) iteration.fDamping = 8;
  EXPECT_EQ(IterationSection(figures).find("<title>iteration 1: 3.7"), std::string::npos);
}

TEST(RunSection, SettingsThatSomebodyGaveComeFirst) {
  const std::string text = RunSection(MakeSampleFigures(12));
  EXPECT_NE(text.find("Those that the settings file, the command line or the run itself gave come first"),
            std::string::npos);
}

TEST(PosSection, SaysWhatTheTimeIs) {
  EXPECT_NE(
      PosSection(MakeSampleFigures(60)).find("from the strip&#39;s first image on by the distance from it"),
      std::string::npos);
}

TEST(LengthUnit, MetresOnlyWhereSomethingTellsThem) {
  RunFigures figures = MakeSampleFigures(40);
  EXPECT_STREQ(LengthUnit(figures), "m");
  EXPECT_EQ(PageOf(figures).find("Neither control points nor GPS"), std::string::npos);
  figures.Pos.reset();
  EXPECT_STREQ(LengthUnit(figures), "m");
  figures.Counts.nControl = figures.Counts.nCheck = 0;
  EXPECT_STREQ(LengthUnit(figures), "m");
  figures.Ground = {};
  EXPECT_STREQ(LengthUnit(figures), "units");
  const std::string page = PageOf(figures);
  for (const char* text : {"Neither control points nor GPS tell the scale", "0.140 units",
                           "in squares of 120 units:", "200 units</text>", "squares of 120 units. It should"})
    EXPECT_EQ(CountOf(page, text) > 0, true) << text;
  for (const char* text : {" m</text>", " m<", " m,", " m:", " m."})
    EXPECT_EQ(CountOf(page, text), 0u) << text;
  figures.Pos.emplace();
  EXPECT_STREQ(LengthUnit(figures), "units");
  figures.Pos->bGps = true;
  EXPECT_STREQ(LengthUnit(figures), "m");
}

TEST(PlanSection, CountsWhatItDraws) {
  RunFigures figures = MakeSampleFigures(12);
  figures.Counts.nControl = figures.Counts.nCheck = 0;
  figures.Ground.vPoints.resize(3);
  for (GroundPointFigure& point : figures.Ground.vPoints) point.bControl = true;
  figures.Ground.vPoints[2].bControl = false;
  EXPECT_NE(PlanSection(figures).find("Map with 12 images, 2 control points and 1 check point."),
            std::string::npos);
}

TEST(ReportPage, AFailedRunSaysWhyAndWhatHelps) {
  const std::string page = PageOf(MakeFailedFigures());
  EXPECT_EQ(AllBetween(page, "<section id=\"", "\""), (std::vector<std::string>{"verdict", "run"}));
  for (const char* text :
       {"<title>valley: failed</title>", "The run failed",
        "image 4 has camera 9, which the project does not have", "Correct the camera of the image",
        "Results of earlier runs in the output folder are as they were."}) {
    EXPECT_NE(page.find(text), std::string::npos) << text;
  }
  EXPECT_EQ(page.find("It is no proof."), std::string::npos);
}

TEST(ReportPage, NamesCanNotLeaveTheirPlace) {
  const std::string page = PageOf(WithTexts(MakeSampleFigures(40), NastyName()));
  const std::string shown = HtmlText(NastyName());
  EXPECT_GT(CountOf(page, shown), 50u);
  for (const char* raw : {"</script>", "<b>&amp;", "<!--", "\x1b", "\x7f", "\xff"}) {
    EXPECT_EQ(CountOf(page, raw), 0u) << raw;
  }
}

TEST(ReportPage, LongNamesAreCut) {
  const RunFigures usual = MakeSampleFigures(40);
  const std::string name = "head" + std::string(100000, 'n') + "<tail>";
  const std::string page = PageOf(WithTexts(usual, name));
  EXPECT_LT(page.size(), PageOf(usual).size() + 600000);
  EXPECT_EQ(CountOf(page, "\xe2\x80\xa6" + std::string(300, 'n')), 0u);
  const std::string tip = "title=\"\xe2\x80\xa6" + std::string(193, 'n') + "&lt;tail&gt;\"";
  EXPECT_GT(CountOf(page, tip + ">\xe2\x80\xa6" + std::string(153, 'n') + "&lt;tail&gt;</"), 20u);
  EXPECT_EQ(TagFault(page), "");
}

TEST(ReportPage, SectionsWithoutContentAreLeftOut) {
  const RunFigures nothing;
  std::string (*const sections[])(const RunFigures&) = {PlanSection,     CoverageSection, IterationSection,
                                                        ResidualSection, GrossSection,    GroundSection,
                                                        PosSection,      CameraSection,   PointSection};
  for (const auto& section : sections) EXPECT_EQ(section(nothing), "");
  EXPECT_NE(VerdictSection(nothing), "");
}

TEST(ReportPage, TellsWhereNothingGivesAScale) {
  constexpr char kSaid[] = "tell the scale of this block";
  RunFigures figures = MakeSampleFigures(12);
  EXPECT_EQ(CountOf(PageOf(figures), kSaid), 0U);
  figures.Ground.vPoints.clear();
  figures.Counts.nControl = figures.Counts.nCheck = 0;
  EXPECT_EQ(CountOf(PageOf(figures), kSaid), 0U);
  figures.Pos.reset();
  EXPECT_EQ(CountOf(PageOf(figures), kSaid), 1U);
}

TEST(ReportPage, AStepOfNothingDoesNotFlattenTheOthers) {
  RunFigures figures = MakeSampleFigures(12);
  constexpr char kSaid[] = "drawn at the foot";
  EXPECT_EQ(CountOf(PageOf(figures), kSaid), 0U);
  figures.vIterations.back().fLargest = 1e-60;
  const std::string page = PageOf(figures);
  EXPECT_EQ(CountOf(page, kSaid), 1U);
  EXPECT_EQ(CountOf(page, ">1e-60</text>"), 0U);
}

TEST(ReportPage, ABarFarAboveTheCurveIsCutOff) {
  RunFigures figures = MakeSampleFigures(12);
  constexpr char kSaid[] = "The highest bar is cut off: ";
  EXPECT_EQ(CountOf(PageOf(figures), kSaid), 0U);
  auto& residuals = figures.Residuals;
  residuals.X.vCounts[residuals.X.vCounts.size() / 2] = residuals.StrictKept.nMeasurements * 3 / 4;
  const std::string page = PageOf(figures);
  EXPECT_EQ(CountOf(page, kSaid), 1U);
  EXPECT_EQ(CountOf(page, "cut off: 75 % are there"), 1U);
}

struct Size {
  int32_t nImages = 0;
  size_t nMostBytes = 0;
};

class ReportPageOf : public testing::TestWithParam<Size> {};

TEST_P(ReportPageOf, StaysSmall) {
  const RunFigures figures = MakeSampleFigures(GetParam().nImages);
  const std::string page = PageOf(figures);
  RecordProperty("bytes", static_cast<int>(page.size()));
  EXPECT_LT(page.size(), GetParam().nMostBytes);
  EXPECT_LE(CountOf(PlanSection(figures), "<polygon "), 1500u + 40u);
  // Thinned is what is drawn, never what is counted.
  EXPECT_NE(page.find(std::to_string(GetParam().nImages / 1000) + ",000 of "), std::string::npos);
  if (GetParam().nImages > 5000) {
    EXPECT_NE(page.find("Drawn are "), std::string::npos);
    EXPECT_NE(page.find(" of " + std::to_string(GetParam().nImages / 1000) + ",000 centres"),
              std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(Images, ReportPageOf,
                         testing::Values(Size{1000, 3000000}, Size{10000, 4000000}, Size{100000, 5000000}),
                         [](const auto& given) { return std::to_string(given.param.nImages); });

TEST(ReportPage, TellsAFullDisk) {
  TextWriter file;
  if (!file.Open("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  WriteReportPage(MakeSampleFigures(12), file);
  EXPECT_FALSE(file.Close());
}

}  // namespace
}  // namespace orvo::report
