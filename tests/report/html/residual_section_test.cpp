#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "PageText.h"
#include "report/SampleFigures.h"
#include "report/html/HtmlText.h"
#include "report/html/ResidualPictures.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

using test::CountOf;
using test::Has;

TEST(ResidualSection, FiguresStandSideBySide) {
  RunFigures figures = test::MakeSampleFigures();
  figures.Residuals.Listed = {1200, {0.442, 1.17}, {0.001, -0.25}};
  figures.Residuals.StrictAll = {1300, {0.5, 0.625}, {0, 0}};
  figures.Residuals.StrictKept = {1250, {0.436, 0.592}, {-0.00004, 0.00006}};
  const std::string html = ResidualSection(figures);
  EXPECT_TRUE(Has(html,
                  "<th scope=\"row\">listed</th><td class=\"n\">1,200</td><td "
                  "class=\"n\">0.4420</td><td class=\"n\">1.1700</td><td class=\"n\">+0.0010</td><td "
                  "class=\"n\">-0.2500</td>"));
  EXPECT_TRUE(Has(html, "strict, all</th><td class=\"n\">1,300</td><td class=\"n\">0.5000</td>"));
  EXPECT_TRUE(Has(html,
                  "strict, kept</th><td class=\"n\">1,250</td><td class=\"n\">0.4360</td><td "
                  "class=\"n\">0.5920</td><td class=\"n\">0.0000</td><td class=\"n\">+0.0001</td>"));
  EXPECT_EQ(CountOf(html, "The listed figures come from the adjustment itself"), 1);
}

TEST(ResidualSection, WithoutAnAdjustmentNothingIsListed) {
  RunFigures figures = test::MakeSampleFigures();
  figures.bAdjusted = false;
  const std::string html = ResidualSection(figures);
  EXPECT_EQ(CountOf(html, ">listed<"), 0);
  EXPECT_EQ(CountOf(html, "The listed figures"), 0);
  EXPECT_EQ(CountOf(html, "Listed: as in"), 0);
  EXPECT_TRUE(Has(html, "strict, kept"));
}

TEST(ResidualSection, ListedFiguresThatNobodyKnowsAreNotExplained) {
  for (const ResidualFigure& listed :
       {ResidualFigure{-1, {}, {}}, ResidualFigure{100, {NAN, NAN}, {NAN, NAN}}}) {
    RunFigures figures = test::MakeSampleFigures();
    EXPECT_TRUE(
        Has(ResidualSection(figures), "Listed: as in OrvoAdjustReport.txt. All: of all measurements"));
    figures.Residuals.Listed = listed;
    const std::string html = ResidualSection(figures);
    EXPECT_EQ(CountOf(html, ">listed<"), 0);
    EXPECT_EQ(CountOf(html, "The listed figures"), 0);
    EXPECT_EQ(CountOf(html, "Listed: as in"), 0);
    EXPECT_TRUE(Has(html, "Measurements of control and check points are not among them"));
  }
}

TEST(ResidualSection, NothingMeasuredIsNoSection) {
  EXPECT_EQ(ResidualSection({}), "");
  EXPECT_EQ(ResidualSection(test::MakeFailedFigures()), "");
}

TEST(ResidualSection, HistogramStandsAgainstTheNormalCurve) {
  RunFigures figures = test::MakeSampleFigures();
  figures.Residuals.StrictKept = {100, {1, 1}, {}};
  figures.Residuals.X = {-2, 1, {10, 40, 40, 10}, 1, 0};
  const std::string html = ResidualSection(figures);
  EXPECT_TRUE(
      Has(html, "80 % lie within one RMSE; of a normal distribution it would be 68 %. So most are better"));
  EXPECT_TRUE(Has(html, "1 measurement is beyond the picture."));
  // 40 % of an axis up to 42, 178 pixels high above 206; the second of four bins of 94.5 pixels from 48 on.
  EXPECT_TRUE(Has(HistogramPicture(figures.Residuals.X, 1, 100, "x"), "M143 36.5h93.5v169.5h-93.5z"));
}

TEST(ResidualSection, HistogramsWithoutSenseAreLeftOut) {
  const Histogram some = {-2, 1, {10, 40, 40, 10}, 0, 0};
  EXPECT_NE(HistogramPicture(some, 1, 100, "x"), "");
  EXPECT_EQ(HistogramPicture({-2, 1, {}, 0, 0}, 1, 100, "x"), "");
  EXPECT_EQ(HistogramPicture({-2, 0, {1, 2}, 0, 0}, 1, 100, "x"), "");
  EXPECT_EQ(HistogramPicture(some, 0, 100, "x"), "");
  EXPECT_EQ(HistogramPicture(some, 1, 0, "x"), "");
}

// All means 0 but that of the second row's second cell, 1 px upwards.
report::CameraFigure OneArrow() {
  report::CameraFigure camera;
  camera.szName = "camera 0";
  camera.nWidth = 4000;
  camera.nHeight = 3000;
  camera.Rmse = {1, 1};
  camera.vField.assign(300, {100, {}});
  camera.vField[21].Mean = {0, 1};
  return camera;
}

TEST(ResidualSection, FieldIsDrawnToScaleWithYUpwards) {
  report::CameraFigure camera = OneArrow();
  // 424 x 318 pixels from (8, 8) on, cells of 21.2: the longest arrow is two cells long, with its middle in
  // its cell.
  EXPECT_NEAR(FieldScale(camera), 42.4, 1e-9);
  EXPECT_NEAR(FieldMagnification(camera, 42.4), 400, 1e-9);
  const std::string picture = FieldPicture(camera, 42.4);
  EXPECT_TRUE(Has(picture, "M39.8 61L39.8 18.6"));
  EXPECT_TRUE(Has(picture, ">1 px</text>"));          // of the key arrow
  EXPECT_TRUE(Has(picture, ">beyond noise</text>"));  // 1 is above 3 / sqrt(100)
  camera.vField[21].Mean = {0, 0.29};
  EXPECT_EQ(CountOf(FieldPicture(camera, 42.4), "beyond noise"), 0);
  camera.vField[21] = {9, {0, 1}};
  EXPECT_EQ(FieldScale(camera), 0);
  camera.vField.resize(299);
  EXPECT_EQ(FieldPicture(camera, 42.4), "");
}

TEST(ResidualSection, RingsWithFewMeasurementsAreLeftOut) {
  report::CameraFigure camera;
  camera.fRingWidth = 100;
  camera.vRings.assign(4, {100, {1, 0.5}, {0.25, 0}});
  EXPECT_EQ(CountOf(RingPicture(camera), "<circle class=\"dot s2\""), 4);
  camera.vRings[3].nNum = 9;
  EXPECT_EQ(CountOf(RingPicture(camera), "<circle class=\"dot s2\""), 3);
  camera.vRings.resize(1);
  EXPECT_EQ(RingPicture(camera), "");
}

TEST(ResidualSection, EveryCameraOfAFewIsJudged) {
  const std::string html = ResidualSection(test::MakeSampleFigures());
  EXPECT_TRUE(Has(html, "<h3>camera 0</h3>"));
  EXPECT_TRUE(Has(html, "<h3>camera 1</h3>"));
  EXPECT_TRUE(Has(html, "Residuals are systematic: the mean vectors are 0.3"));
  EXPECT_TRUE(Has(html, "What is left looks like noise: the mean vectors are 0.04"));
  EXPECT_LT(html.find("camera 0</h3>"), html.find("camera 1</h3>"));  // the larger pattern first
}

TEST(ResidualSection, WorstImagesAreNamed) {
  RunFigures figures = test::MakeSampleFigures();
  figures.vImages[30].szName = "worse than all";
  figures.vImages[30].Rmse = {9, 1};
  figures.vImages[30].Mean = {3, -0.5};
  figures.vImages[30].nUsed = 75;
  figures.vImages[30].nGross = 25;
  const std::string html = ResidualSection(figures);
  EXPECT_TRUE(
      Has(html,
          "<tr class=\"doubtful\"><th scope=\"row\">worse than all</th><td class=\"n\">75</td><td "
          "class=\"n\">25.0 %</td><td class=\"n\">+3.00 / -0.50</td><td class=\"n\">9.00 / 1.00</td>"));
  const size_t table = html.find("<th scope=\"col\">Image</th>");
  EXPECT_EQ(CountOf(html.substr(table), "<tr"), 20);
  EXPECT_LT(html.find("worse than all", table), html.find(HtmlText(figures.vImages[20].szName), table));
}

TEST(ResidualSection, NamesAreText) {
  RunFigures figures = test::MakeSampleFigures();
  figures.vImages[3].szName = test::NastyName();
  figures.vImages[3].Rmse = {9, 9};
  figures.vCameras[0].szName = test::NastyName();
  const std::string html = ResidualSection(figures);
  EXPECT_TRUE(Has(html, HtmlText(test::NastyName())));
  EXPECT_EQ(CountOf(html, "</script>"), 0);
  EXPECT_EQ(CountOf(html, "<b>"), 0);
  EXPECT_EQ(CountOf(html, "<!--"), 0);
  EXPECT_EQ(html.find('\x1b'), std::string::npos);
}

TEST(ResidualSection, OneCameraAnImageStaysSmall) {
  RunFigures figures = test::MakeSampleFigures(1000);
  const report::CameraFigure first = figures.vCameras[0];
  figures.vCameras.assign(1000, first);
  EXPECT_LT(ResidualSection(figures).size(), 200000u);
  EXPECT_TRUE(Has(ResidualSection(figures), "Of 1,000 cameras, residuals are systematic in 1,000"));
  EXPECT_EQ(CountOf(ResidualSection(figures), "Mean residuals over the image, "),
            7);  // six, and all together

  for (report::CameraFigure& camera : figures.vCameras)
    for (ResidualCell& cell : camera.vField) cell.nNum = 3;
  const std::string sparse = ResidualSection(figures);
  EXPECT_TRUE(Has(sparse, "None of 1,000 cameras has measurements enough"));
  EXPECT_TRUE(Has(sparse, "<h3>all cameras together</h3>"));
  EXPECT_EQ(CountOf(sparse, "Mean residuals over the image, "), 1);
  EXPECT_LT(sparse.size(), 60000u);
}

}  // namespace
}  // namespace orvo::report
