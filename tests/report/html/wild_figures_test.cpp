// Figures that no sound run has: sections stay whole and say nothing that is no number.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "PageText.h"
#include "report/SampleFigures.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

RunFigures WildFigures(double value, int number) {
  RunFigures run = test::MakeSampleFigures(20);
  run.Residuals.StrictKept.Rmse = {value, value};
  run.Residuals.X.fStep = run.Residuals.Y.fFirst = value;
  run.Residuals.nGross = 5;
  run.Residuals.nMeasurements = number;
  for (ImageFigure& image : run.vImages) {
    image.Rmse = image.Mean = {value, value};
    image.nGross = image.nUsed = number;
  }
  for (report::CameraFigure& camera : run.vCameras) {
    camera.Start = camera.End = {value, value, value, value, value};
    camera.nWidth = camera.nHeight = number;
    camera.Rmse = {value, value};
    camera.fRingWidth = value;
    for (ResidualCell& cell : camera.vField) cell.Mean = {value, value};
    for (report::CameraFigure::Ring& ring : camera.vRings) ring.Mean = ring.Rmse = {value, value};
  }
  for (GroundPointFigure& point : run.Ground.vPoints) {
    point.Difference = {value, value, value};
    point.nRays = number;
    point.fRmse = point.fWorst = value;
  }
  GroundStatistics& check = run.Ground.Check;
  check.nNum = 40;
  check.Rmse = check.Mean = check.Deviation = {value, value, value};
  check.fHorizontal = value;
  run.Ground.fSurveySigmaH = run.Ground.fSurveySigmaV = value;
  return run;
}

std::string Sections(const RunFigures& run) {
  return ResidualSection(run) + GrossSection(run) + GroundSection(run) + CameraSection(run);
}

TEST(WildFigures, SectionsStayWhole) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double value : {std::nan(""), kInfinity, -kInfinity, 1e308, -1e308, 5e-324, 0.0, -1.0}) {
    for (const int number : {-5, 0, 1}) {
      RunFigures run = WildFigures(value, number);
      std::string html = Sections(run);
      for (const char* sign : {"<section", "<svg", "<table", "<figure", "<div", "<tr"}) {
        const std::string end = "</" + std::string(sign + 1) + ">";
        EXPECT_EQ(test::CountOf(html, std::string(sign) + ">") + test::CountOf(html, std::string(sign) + " "),
                  test::CountOf(html, end))
            << sign << ' ' << value;
      }
      for (const char* none : {"nan", "-inf", "\"inf", ">inf"})
        EXPECT_EQ(test::CountOf(html, none), 0) << value;

      run.vImages.clear();
      run.vCameras[0].vField.clear();
      run.vCameras[1].vRings.clear();
      run.Ground.vPoints.resize(1);
      EXPECT_NE(Sections(run), "");
    }
  }
}

}  // namespace
}  // namespace orvo::report
