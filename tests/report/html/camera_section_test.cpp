#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "PageText.h"
#include "report/SampleFigures.h"
#include "report/html/CameraChange.h"
#include "report/html/HtmlText.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

using test::CountOf;
using test::Has;

// Corner at 1000 px.
report::CameraFigure Camera() {
  report::CameraFigure camera;
  camera.szName = "camera 0";
  camera.nId = 3;
  camera.nWidth = 1600;
  camera.nHeight = 1200;
  camera.nImages = 40;
  camera.bUnknown = true;
  camera.Start = camera.End = {5000, 2, -3, 1e-8, 1e-15};
  return camera;
}

TEST(CameraChange, DistortionByHand) {
  EXPECT_EQ(CornerRadius(Camera()), 1000);
  EXPECT_NEAR(DistortionAt(Camera().Start, 1000), 11, 1e-9);
  EXPECT_NEAR(DistortionAt(Camera().Start, 500), 1.25 + 1.0 / 32, 1e-9);
  report::CameraFigure ringed = Camera();
  ringed.vRings.resize(20);
  ringed.fRingWidth = 51;
  EXPECT_EQ(CornerRadius(ringed), 1020);
}

TEST(CameraChange, TheStartHasACornerOfItsOwn) {
  report::CameraFigure camera = Camera();
  camera.Start.x0 = camera.Start.y0 = 0;
  camera.vRings.resize(20);
  camera.fRingWidth = 1e30;
  EXPECT_EQ(StartCornerRadius(camera), 1000);
  camera.Start.x0 = -100;
  camera.Start.y0 = 80;
  EXPECT_NEAR(StartCornerRadius(camera), std::hypot(900, 680), 1e-9);
  camera.vRings.clear();
  EXPECT_EQ(StartCornerRadius(camera), 1000);
}

TEST(CameraChange, AtTheCornerAllChangesAddUp) {
  report::CameraFigure camera = Camera();
  EXPECT_EQ(ChangeAtCorner(camera), 0);
  camera.End.x0 += 3;
  camera.End.y0 -= 4;
  EXPECT_NEAR(ChangeAtCorner(camera), 5, 1e-9);
  camera.End.f += 50;
  EXPECT_NEAR(ChangeAtCorner(camera), 15, 1e-9);
  camera.End.k1 -= 1e-9;
  EXPECT_NEAR(ChangeAtCorner(camera), 16, 1e-9);
  camera.Start.f = 0;
  EXPECT_NEAR(ChangeAtCorner(camera), 6, 1e-9);
}

TEST(CameraChange, Remarks) {
  const auto remarks = [](const CameraParameters& change) {
    report::CameraFigure camera = Camera();
    CameraParameters& end = camera.End;
    end = {end.f + change.f, end.x0 + change.x0, end.y0 + change.y0, end.k1 + change.k1, end.k2 + change.k2};
    std::string all;
    for (const std::string& remark : CameraRemarks(camera)) all += remark + "\n";
    return all;
  };
  EXPECT_EQ(remarks({}), "");
  EXPECT_EQ(remarks({.f = 50}), "");
  EXPECT_TRUE(Has(remarks({.f = 51}), "focal length changed by +1.0 %"));
  EXPECT_TRUE(Has(remarks({.f = -250}), "focal length changed by -5.0 %"));
  EXPECT_TRUE(Has(remarks({.f = -4500}), "focal length changed by -90.0 %"));
  EXPECT_TRUE(Has(remarks({.f = -2e11}), "went from 5000.0 to -2.00e+11 px, which no camera does"));
  EXPECT_EQ(remarks({.x0 = 16}), "");
  EXPECT_TRUE(Has(remarks({.x0 = 24, .y0 = -32}), "moved by 40.0 px, 2.5 % of the image"));
  EXPECT_EQ(remarks({.k1 = 3e-7}), "");                              // 1 - 3 (3.1e-7) r^2 is above 0 at 1000
  EXPECT_TRUE(Has(remarks({.k1 = 4e-7}), "distortion turns back"));  // and 1 - 3 (4.1e-7) r^2 is not
}

TEST(CameraSection, WithoutCamerasIsNone) { EXPECT_EQ(CameraSection({}), ""); }

TEST(CameraSection, StartEndAndChange) {
  RunFigures figures;
  figures.vCameras.push_back(Camera());
  figures.vCameras[0].End = {5003.5, 1.25, -3, 1.25e-8, 1e-15};
  const std::string html = CameraSection(figures);
  EXPECT_TRUE(
      Has(html,
          "Number 3 of the project, 1600 x 1200 px, 40 images. Its parameters were unknowns; their change "
          "moves a point in the corner by 3.95 px at most."));
  EXPECT_TRUE(
      Has(html,
          "f, px</th><td class=\"n\">5000.000</td><td class=\"n\">5003.500</td><td class=\"n\">+3.500</td>"));
  EXPECT_TRUE(Has(
      html, "x0, px</th><td class=\"n\">2.000</td><td class=\"n\">1.250</td><td class=\"n\">-0.750</td>"));
  EXPECT_TRUE(Has(
      html, "y0, px</th><td class=\"n\">-3.000</td><td class=\"n\">-3.000</td><td class=\"n\">0.000</td>"));
  EXPECT_TRUE(
      Has(html,
          "<td class=\"n\">1.00000e-08</td><td class=\"n\">1.25000e-08</td><td class=\"n\">+2.50e-09</td>"));
  EXPECT_TRUE(
      Has(html, "<td class=\"n\">1.00000e-15</td><td class=\"n\">1.00000e-15</td><td class=\"n\">0</td>"));
  EXPECT_TRUE(Has(html,
                  "distortion, px</th><td class=\"n\">+11.00</td><td class=\"n\">+13.50</td><td "
                  "class=\"n\">+2.50</td>"));
  EXPECT_EQ(CountOf(html, "<polyline"), 2);
  EXPECT_TRUE(Has(html, "<svg role=\"img\""));
}

TEST(CameraSection, AHeldCameraHasOneValueAndOneCurve) {
  RunFigures figures;
  figures.vCameras.push_back(Camera());
  figures.vCameras[0].bUnknown = false;
  const std::string html = CameraSection(figures);
  EXPECT_TRUE(Has(html, "It was held as given."));
  EXPECT_TRUE(Has(html, "f, px</th><td class=\"n\">5000.000</td></tr>"));
  EXPECT_EQ(CountOf(html, "<polyline"), 1);
}

TEST(CameraSection, NoDistortionIsNotDrawn) {
  RunFigures figures;
  figures.vCameras.push_back(Camera());
  figures.vCameras[0].Start.k1 = figures.vCameras[0].Start.k2 = 0;
  figures.vCameras[0].End = figures.vCameras[0].Start;
  EXPECT_EQ(CountOf(CameraSection(figures), "<svg"), 0);
  figures.vCameras[0].End.k1 = std::nan("");
  EXPECT_EQ(CountOf(CameraSection(figures), "<svg"), 0);
  figures.vCameras[0].End.k1 = 1e300;
  EXPECT_EQ(CountOf(CameraSection(figures), "inf"), 0);
}

TEST(CameraSection, ARunawayCameraKeepsItsStart) {
  RunFigures figures;
  figures.vCameras.push_back(Camera());
  report::CameraFigure& camera = figures.vCameras[0];
  camera.Start = {5000, 0, 0, 1e-8, 1e-15};
  camera.End = {-2e11, 1e20, -1e20, 1e-8, 1e-15};
  camera.vRings.resize(20);
  camera.fRingWidth = 7e18;
  const std::string html = CameraSection(figures);
  EXPECT_TRUE(Has(html, "distortion, px</th><td class=\"n\">+11.00</td><td class=\"n\">+5.38e+85</td>"));
  EXPECT_EQ(CountOf(html, "<polyline"), 0);
  EXPECT_EQ(html.find("00000000000"), std::string::npos);
}

TEST(CameraSection, ManyCamerasAreSummedUp) {
  RunFigures figures;
  for (int i = 0; i < 13; ++i) {
    figures.vCameras.push_back(Camera());
    figures.vCameras[static_cast<size_t>(i)].szName = "camera " + std::to_string(i);
    figures.vCameras[static_cast<size_t>(i)].End.f += i == 12 ? -60 : i;
  }
  const std::string html = CameraSection(figures);
  EXPECT_TRUE(Has(html, "13 cameras, 13 of them unknown. 1 changed by more than 1 %"));
  EXPECT_TRUE(Has(
      html,
      "f, px</th><td class=\"n\">5000.000</td><td class=\"n\">4940.000</td><td class=\"n\">5005.000</td><td "
      "class=\"n\">5011.000</td><td class=\"n\">+5.000</td><td class=\"n\">-60.000</td>"));
  EXPECT_TRUE(Has(html,
                  "<tr class=\"doubtful\"><th scope=\"row\">camera 12</th><td class=\"n\">40</td><td "
                  "class=\"n\">12.0</td><td class=\"n\">-60.000</td>"));
  EXPECT_TRUE(Has(html, "The 10 with the largest change"));
  EXPECT_EQ(CountOf(html, "<th scope=\"row\">camera "), 10);
  EXPECT_EQ(CountOf(html, "<svg"), 0);
  figures.vCameras.pop_back();
  EXPECT_EQ(CountOf(CameraSection(figures), "<h3>camera "), 12);
}

TEST(CameraSection, OneCameraAnImageStaysSmall) {
  RunFigures figures = test::MakeSampleFigures(1000);
  const report::CameraFigure first = figures.vCameras[0];
  figures.vCameras.assign(1000, first);
  figures.vCameras[7].szName = test::NastyName();
  figures.vCameras[7].End.f += 900;
  const std::string html = CameraSection(figures);
  EXPECT_LT(html.size(), 20000u);
  EXPECT_TRUE(Has(html, HtmlText(test::NastyName())));
  EXPECT_EQ(CountOf(html, "</script>"), 0);
}

}  // namespace
}  // namespace orvo::report
