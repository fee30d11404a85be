#include <gtest/gtest.h>

#include <string>

#include "PageText.h"
#include "report/SampleFigures.h"
#include "report/html/HtmlText.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

using test::CountOf;
using test::Has;

GroundPointFigure Point(const std::string& name, bool control, const Triple& difference) {
  GroundPointFigure point;
  point.szName = name;
  point.bControl = control;
  point.bIntersected = true;
  point.Difference = difference;
  point.nRays = 5;
  point.fRmse = 0.5;
  point.fWorst = 1.25;
  point.szWorstImage = "i7";
  return point;
}

RunFigures With(int64_t check) {
  RunFigures figures;
  for (int64_t i = 0; i < check; ++i)
    figures.Ground.vPoints.push_back(
        Point("c" + std::to_string(i), false, {0.03, -0.04, 0.1 + 1e-6 * static_cast<double>(i)}));
  figures.Ground.Check = {check, {0.03, -0.04, 0.1}, {0, 0, 0}, {0.03, 0.04, 0.1}, 0.05};
  return figures;
}

TEST(GroundSection, WithoutPointsIsNone) { EXPECT_EQ(GroundSection({}), ""); }

TEST(GroundSection, EveryPointHasARow) {
  RunFigures figures = With(2);
  figures.Ground.vPoints.push_back(Point("k", true, {1.5, 2, -3}));
  figures.Ground.vPoints.push_back(Point("lost", true, {}));
  figures.Ground.vPoints.back().bIntersected = false;
  const std::string html = GroundSection(figures);
  EXPECT_TRUE(
      Has(html,
          "<th scope=\"row\">c0</th><td>check</td><td class=\"n\">5</td><td class=\"n\">+0.030</td><td "
          "class=\"n\">-0.040</td><td class=\"n\">+0.100</td><td class=\"n\">0.050</td><td "
          "class=\"n\">0.50</td><td "
          "class=\"n\">1.25</td><td>i7</td>"));
  EXPECT_TRUE(
      Has(html, "<th scope=\"row\">k</th><td>control</td><td class=\"n\">5</td><td class=\"n\">+1.500</td>"));
  EXPECT_TRUE(Has(
      html,
      "<th scope=\"row\">lost</th><td>control</td><td class=\"n\">5</td><td class=\"n\">no difference</td>"));
  EXPECT_LT(html.find(">lost<"), html.find("row\">k<"));
  EXPECT_LT(html.find("row\">k<"), html.find("row\">c0<"));
  EXPECT_TRUE(Has(html, "2 control points and 2 check points are measured"));
  EXPECT_TRUE(Has(html, "1 point has no difference"));
}

TEST(GroundSection, StatisticsWithTheListedOnesBeside) {
  RunFigures figures = With(2);
  figures.Ground.Check = {2, {0.3, -0.4, 0.1}, {0.111, 0.222, 0.333}, {0.06, 0.08, 0.25}, 0.1};
  figures.Ground.ListedCheck = {2, {}, {}, {0.6, 0.8, 0.5}, 1};
  const std::string html = GroundSection(figures);
  EXPECT_TRUE(
      Has(html,
          "mean</th><td class=\"n\">+0.300</td><td class=\"n\">-0.400</td><td class=\"n\">+0.100</td><td "
          "class=\"n\">0.500</td>"));
  EXPECT_TRUE(Has(html,
                  "standard deviation</th><td class=\"n\">0.111</td><td class=\"n\">0.222</td><td "
                  "class=\"n\">0.333</td>"));
  EXPECT_TRUE(
      Has(html,
          "RMSE</th><td class=\"n\">0.060</td><td class=\"n\">0.080</td><td class=\"n\">0.250</td><td "
          "class=\"n\">0.100</td>"));
  EXPECT_TRUE(Has(
      html,
      "RMSE as listed</th><td class=\"n\">0.600</td><td class=\"n\">0.800</td><td class=\"n\">0.500</td><td "
      "class=\"n\">1.000</td>"));
  EXPECT_TRUE(Has(html, "RMSE of 0.100 m horizontally and 0.250 m in height"));
  EXPECT_EQ(CountOf(html, "Control points: "), 0);
}

TEST(GroundSection, CheckPointsWithoutADifferenceAreNoLackOfThem) {
  RunFigures figures = With(8);
  figures.Ground.Check = {};
  figures.Ground.ListedCheck.nNum = 8;
  for (GroundPointFigure& point : figures.Ground.vPoints) point.bIntersected = false;
  const std::string html = GroundSection(figures);
  EXPECT_TRUE(Has(html, "0 control points and 8 check points are measured"));
  EXPECT_TRUE(Has(html, "None of the check points could be intersected"));
  EXPECT_EQ(CountOf(html, "Make some of them check points"), 0);
  EXPECT_TRUE(Has(html,
                  "There are no check points with a difference of 8 measured, and the standard wants 30 at "
                  "least: find out why their rays do not meet, and measure more points."));
  const std::string dash = "<td class=\"n\">\xe2\x80\x93</td>";
  EXPECT_TRUE(Has(html, "RMSE as listed</th>" + dash + dash + dash + dash));
}

TEST(GroundSection, OnlyControlTellsNoAccuracy) {
  RunFigures figures = With(0);
  figures.Ground.vPoints.push_back(Point("k", true, {0, 0, 0}));
  figures.Ground.Control.nNum = 1;
  const std::string html = GroundSection(figures);
  EXPECT_TRUE(Has(html, "Without check points nothing independent tells the accuracy"));
  EXPECT_TRUE(Has(html, "There are no check points with a difference, and the standard wants 30"));
}

TEST(GroundSection, TheStandardsSentenceOnlyWhereItsRulesHold) {
  RunFigures figures = With(30);
  EXPECT_EQ(CountOf(GroundSection(figures), "This data set was tested to meet"), 0);
  EXPECT_TRUE(
      Has(GroundSection(figures), "No accuracy is stated by this standard, for its rules do not hold:"));
  figures.Ground.fSurveySigmaH = 0.12;
  EXPECT_TRUE(Has(GroundSection(figures), "found to be RMSE_H = 13.0 (cm)."));
  EXPECT_TRUE(Has(GroundSection(figures), "One of the two sentences is left out"));
  figures.Ground.fSurveySigmaV = 0.0;
  EXPECT_TRUE(Has(GroundSection(figures), "One of the two sentences is left out"));
  figures.Ground.fSurveySigmaV = 0.01;
  EXPECT_EQ(CountOf(GroundSection(figures), "This data set was tested to meet"), 2);
  EXPECT_TRUE(Has(GroundSection(figures),
                  "horizontal (RMSE_H)</th><td class=\"n\">5.00</td><td class=\"n\">12.0</td><td "
                  "class=\"n\">13.0</td><td "
                  "class=\"n\">24.0</td>"));
}

TEST(GroundSection, ThinsWhatIsListedAndTellsIt) {
  const std::string all = GroundSection(With(2000)), thinned = GroundSection(With(2001));
  EXPECT_EQ(CountOf(all, "<td>check</td>"), 2000);
  EXPECT_EQ(CountOf(all, "are listed; all are counted above"), 0);
  EXPECT_EQ(CountOf(thinned, "<td>check</td>"), 2000);
  EXPECT_TRUE(Has(thinned, "The 2,000 with the largest of 2,001 are listed; all are counted above."));
  EXPECT_TRUE(Has(thinned, "<th scope=\"row\">c2000</th>"));
  EXPECT_EQ(CountOf(thinned, "<th scope=\"row\">c0</th>"), 0);
  EXPECT_TRUE(Has(thinned, "of 2,001, the worst 20 among them."));
  EXPECT_LT(thinned.size(), 700000u);
}

TEST(GroundSection, StraysStandAtTheRimAndAreMarked) {
  RunFigures figures = With(9);
  figures.Ground.vPoints.push_back(Point("stray", false, {30, 40, 0}));
  const std::string html = GroundSection(figures);
  EXPECT_TRUE(Has(html, "<tr class=\"doubtful\"><th scope=\"row\">stray</th>"));
  EXPECT_EQ(CountOf(html, "<tr class=\"doubtful\">"), 1);
  // Five times the median of 5 cm and a tenth: 27.5 cm, so that the others keep their places.
  EXPECT_TRUE(Has(html, ">stray</text>"));
  EXPECT_TRUE(Has(html, "<title>stray: +30.000 / +40.000 / 0.000 m</title>"));
  EXPECT_EQ(CountOf(html, "<path class=\"line s1 thick\""), 1);
}

TEST(GroundSection, NamesAreText) {
  RunFigures figures = With(3);
  figures.Ground.vPoints[1].szName = figures.Ground.vPoints[1].szWorstImage = test::NastyName();
  figures.Ground.vPoints[1].Difference = {9, 9, 9};
  const std::string html = GroundSection(figures);
  EXPECT_TRUE(Has(html, "<th scope=\"row\">" + HtmlText(test::NastyName()) + "</th>"));
  EXPECT_TRUE(Has(html, "<td>" + HtmlText(test::NastyName()) + "</td>"));
  EXPECT_EQ(CountOf(html, "</script>"), 0);
  EXPECT_EQ(CountOf(html, "<b>"), 0);
}

}  // namespace
}  // namespace orvo::report
