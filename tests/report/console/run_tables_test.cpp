// The tables of a run, number by number.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "report/SampleFigures.h"
#include "report/console/RunTables.h"

namespace orvo::test {
namespace {

using namespace report;

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

void ExpectScreen(const std::string& text, size_t most) {
  EXPECT_TRUE(text.empty() || text.back() == '\n') << text;
  const std::vector<std::string> lines = LinesOf(text);
  EXPECT_LE(lines.size(), most) << text;
  for (const std::string& line : lines) EXPECT_LE(line.size(), 80u) << line;
}

BlockCounts Counts() {
  BlockCounts counts;
  counts.nImages = 165;
  counts.nImagesInFile = 170;
  counts.nCameras = 2;
  counts.nCamerasInFile = 3;
  counts.nStrips = 7;
  counts.nTiePoints = 31204;
  counts.nTiePointsInFile = 1031204;
  counts.nMeasurements = 145332;
  counts.nControl = 8;
  counts.nCheck = 1;
  counts.nPosImages = 160;
  counts.nUnknowns = 1000;
  counts.nRedundancy = 195052;
  counts.nSections = 3;
  return counts;
}

TEST(CountsText, TellsEveryCountAndWhatIsLeftOut) {
  EXPECT_EQ(CountsText(Counts()),
            "  images          165 images, 5 left out, 7 strips\n"
            "  cameras         2, 1 left out\n"
            "  tie points      31,204, 1,000,000 left out\n"
            "  measurements    145,332\n"
            "  control         8 control points, 1 check point\n"
            "  POS             for 160 images, none for 5\n"
            "  unknowns        1,000, redundancy 195,052\n"
            "  sections        3, for the memory\n");
}

TEST(CountsText, LeavesOutWhatIsNotThere) {
  BlockCounts counts;
  counts.nImages = counts.nImagesInFile = counts.nCameras = counts.nCamerasInFile = 1;
  counts.nTiePoints = counts.nTiePointsInFile = 999;
  counts.nMeasurements = 1998;
  counts.nSections = 1;
  EXPECT_EQ(CountsText(counts),
            "  images          1 image\n"
            "  cameras         1\n"
            "  tie points      999\n"
            "  measurements    1,998\n"
            "  control         0 control points, 0 check points\n"
            "  POS             none\n");
}

TEST(CountsText, LargestNumbersFit) {
  BlockCounts counts;
  counts.nImages = counts.nCameras = 1;
  counts.nImagesInFile = counts.nCamerasInFile = counts.nStrips = counts.nControl = counts.nCheck =
      counts.nSections = std::numeric_limits<int32_t>::max();
  counts.nTiePointsInFile = counts.nMeasurements = counts.nUnknowns = counts.nRedundancy =
      std::numeric_limits<int64_t>::max();
  ExpectScreen(CountsText(counts), 8);
}

TEST(IterationLine, HasAHyphenForUnknownCounts) {
  IterationFigure figure;
  figure.nNumber = 3;
  figure.Rmse = {0.5, 0.25};
  figure.fLargest = 0.001;
  figure.nUsed = figure.nGross = kUnknownCount;
  EXPECT_EQ(IterationLine(figure),
            "          3      0.5000      0.2500   1.000e-03         -       -     0.00\n");
}

TEST(IterationLine, StandsBelowItsHead) {
  IterationFigure figure;
  figure.nNumber = 3;
  figure.Rmse = {0.75014, 12.34567};
  figure.fLargest = -0.0123456;
  figure.nUsed = 990;
  figure.nGross = 10;
  figure.nSolverSteps = 254;
  figure.fSeconds = 1.234;
  EXPECT_EQ(IterationHead(), "  iteration      RMSE x      RMSE y  correction   gross %  solver  seconds\n");
  EXPECT_EQ(IterationLine(figure),
            "          3      0.7501     12.3457   1.235e-02      1.00     254     1.23\n");
  figure.nSolverSteps = 0;
  figure.fLargest = NAN;
  figure.nUsed = figure.nGross = 0;
  EXPECT_EQ(IterationLine(figure),
            "          3      0.7501     12.3457           -      0.00       -     1.23\n");
}

TEST(IterationLine, KeepsItsColumnsWhateverTheNumbers) {
  const size_t width = IterationHead().size();
  for (const double value : {0.0, 1e-300, 1e9, -1e9, 1e300, -1e300, double{INFINITY}, double{NAN}}) {
    IterationFigure figure;
    figure.nNumber = 999999999;
    figure.Rmse = {value, value};
    figure.fLargest = value;
    figure.nUsed = 1;
    figure.nGross = std::numeric_limits<int32_t>::max();
    figure.nSolverSteps = 9999999;
    figure.fSeconds = std::fabs(value);
    EXPECT_EQ(IterationLine(figure).size(), width) << value << IterationLine(figure);
  }
}

RunFigures Figures() {
  RunFigures figures;
  figures.Counts = Counts();
  figures.bAdjusted = figures.bDone = figures.bConverged = true;
  figures.vIterations.resize(9);
  figures.Residuals.nMeasurements = 145332;
  figures.Residuals.nGross = 2906;
  figures.Residuals.Listed = {142000, {0.7501, 0.8293}, {}};
  figures.Residuals.StrictAll = {145332, {1.5, 1.25}, {}};
  figures.Residuals.StrictKept = {142426, {0.7292, 0.8104}, {}};
  report::CameraFigure camera;
  camera.szName = "camera 0";
  camera.bUnknown = true;
  camera.Start.f = 3600;
  camera.End.f = 3612.3456;
  camera.nImages = 100;
  figures.vCameras.push_back(camera);
  camera.szName = "camera 1";
  camera.bUnknown = false;
  camera.End.f = 3600;
  camera.nImages = 65;
  figures.vCameras.push_back(camera);
  figures.Ground.Control.nNum = 8;
  figures.Ground.Control.Rmse = {0.012, 0.013, 0.021};
  figures.Ground.Check.nNum = 1;
  figures.Ground.Check.Rmse = {0.112, 0.113, 0.121};
  figures.Pos.emplace();
  figures.Pos->bGps = true;
  figures.Pos->Rmse = {1.5, 1.625, 2.75};
  figures.Pos->vImages.resize(160);
  figures.Points.nPoints = 31204;
  figures.Points.fMeanRays = 4.657;
  figures.Points.fShareBelow3 = 12.34;
  figures.Points.fGsd = 0.03456;
  figures.vPhases = {{RunPhase::Reading, 0.25},  {RunPhase::Preparing, 0.5}, {RunPhase::Iterating, 112},
                     {RunPhase::Judging, 1.125}, {RunPhase::Writing, 22.5},  {RunPhase::Reporting, 3.75}};
  figures.fSeconds = 140.2;
  figures.Memory.nPeakBytes = 734003200;
  return figures;
}

TEST(SummaryText, TellsEveryFigure) {
  EXPECT_EQ(SummaryText(Figures()),
            "  block           165 images, 5 left out, 7 strips\n"
            "  camera 0        f 3612.346 px (+12.346), 100 images\n"
            "  camera 1        f 3600.000 px (held), 65 images\n"
            "  tie points      31,204, 4.66 rays each; fewer than 3: 12.3 %\n"
            "  measurements    145,332, 2,906 of them gross (2.00 %)\n"
            "  RMSE                       x           y\n"
            "  strict                 0.729       0.810  px, without gross ones\n"
            "  strict, all            1.500       1.250  px\n"
            "  listed                 0.750       0.829  px, as in OrvoAdjustReport.txt\n"
            "  RMSE                       X           Y           Z  object units\n"
            "  control                0.012       0.013       0.021  8 points\n"
            "  check                  0.112       0.113       0.121  1 point\n"
            "  GPS                    1.500       1.625       2.750  160 images\n"
            "  pixel on ground 0.0346 object units\n"
            "  iterations      9, converged\n"
            "  time            140 s: reading 0.25, preparing 0.50, iterating 112,\n"
            "                  judging 1.12, writing 22.5, reporting 3.75\n"
            "  memory          700 MB at most\n");
}

TEST(SummaryText, FitsOnAScreenWhateverTheRun) {
  ExpectScreen(SummaryText(Figures()), 24);
  ExpectScreen(SummaryText(MakeSampleFigures()), 24);
  ExpectScreen(SummaryText(RunFigures()), 24);
  RunFigures wild = Figures();
  wild.vCameras.resize(5000, wild.vCameras[0]);
  for (size_t i = 0; i < wild.vCameras.size(); ++i) {
    wild.vCameras[i].szName = std::string(200, 'x');
    wild.vCameras[i].End.f = i % 2 == 0 ? 1e300 : -1e300;
    wild.vCameras[i].nImages = std::numeric_limits<int64_t>::max();
  }
  wild.Counts.nTiePoints = wild.Counts.nMeasurements = std::numeric_limits<int64_t>::max();
  wild.Residuals.nGross = wild.Residuals.nMeasurements = std::numeric_limits<int64_t>::max();
  wild.Points.fMeanRays = wild.Points.fShareBelow3 = 1e300;
  wild.Ground.Control.Rmse = wild.Ground.Check.Rmse = {1e300, -1e300, NAN};
  wild.Ground.Control.nNum = std::numeric_limits<int64_t>::max();
  wild.Residuals.StrictKept.Rmse = {1e300, INFINITY};
  for (PhaseFigure& phase : wild.vPhases) phase.fSeconds = 1e12;
  wild.fSeconds = 1e300;
  wild.Memory.nPeakBytes = std::numeric_limits<int64_t>::max();
  ExpectScreen(SummaryText(wild), 24);
}

TEST(SummaryText, ManyCamerasAreThreeAndARange) {
  RunFigures figures = Figures();
  figures.vCameras.resize(5, figures.vCameras[0]);
  figures.vCameras[3].End.f = 3590;
  figures.vCameras[4].End.f = 3600.5;
  const std::string text = SummaryText(figures);
  EXPECT_NE(text.find("  cameras         2 more, f changed by -10.000 to 0.500 px\n"), std::string::npos)
      << text;
}

TEST(SummaryText, LeavesOutWhatIsNotThere) {
  RunFigures figures;
  figures.bDone = true;
  figures.Counts.nImages = figures.Counts.nImagesInFile = 3;
  figures.fSeconds = 0.5;
  EXPECT_EQ(SummaryText(figures),
            "  block           3 images\n"
            "  tie points      0\n"
            "  measurements    0\n"
            "  iterations      none: not adjusted\n"
            "  time            0.50 s\n");
}

}  // namespace
}  // namespace orvo::test
