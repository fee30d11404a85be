#include "report/SampleFigures.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace orvo::test {
namespace {

using namespace report;

constexpr double kX0 = 500000, kY0 = 4200000, kGround = 120, kFlight = 820, kGsd = 0.14;
constexpr double kBase = 240, kStripStep = 480;

/// Of the number in hand, evenly over -1 to 1; the same on every machine.
double Wave(int64_t number) {
  const double part = static_cast<double>(number) * std::numbers::phi;
  return 2 * (part - std::floor(part)) - 1;
}

double HeightAt(double x, double y) {
  return kGround + 25 * std::sin((x - kX0) / 900) + 15 * std::cos((y - kY0) / 700);
}

/// Images and strips of the block.
struct Plan {
  int32_t nImages = 0, nOfStrip = 1;

  int32_t StripOf(int32_t image) const { return image / nOfStrip; }
  int32_t StripNum() const { return (nImages + nOfStrip - 1) / nOfStrip; }
  Triple CentreOf(int32_t image) const {
    const int32_t strip = StripOf(image), place = image % nOfStrip;
    const int32_t along = strip % 2 == 0 ? place : nOfStrip - 1 - place;
    return {kX0 + kBase * along + 3 * Wave(image), kY0 + kStripStep * strip + 3 * Wave(image + 7),
            kFlight + 2 * Wave(image + 13)};
  }
  double Width() const { return kBase * nOfStrip; }
  double Depth() const { return kStripStep * StripNum(); }
};

Plan PlanOf(int32_t images) {
  Plan plan{std::max(images, 12), 1};
  plan.nOfStrip = std::max(static_cast<int32_t>(std::lround(std::sqrt(1.6 * plan.nImages))), 1);
  return plan;
}

void AddFrame(RunFigures& run) {
  run.Program = {"0.4.0", "GCC 12.2.0, Release", "avx2", "cpu", 8};
  run.szBegin = "2026-11-22 16:30:00";
  run.szMethod = "classic";
  run.szSolver = "sparse";
  run.bAdjusted = run.bDone = run.bConverged = true;
  run.szProject = "valley.prj";
  run.vInputs = {{"project", "blocks/valley.prj", 4711, "crc32:0a1b2c3d"},
                 {"tie points", "blocks/valley.ovt", 123456789, "crc32:4e5f6071"},
                 {"gcp", "blocks/valley.gcp", 998, "crc32:8293a4b5"},
                 {"pos", "blocks/valley.pos", 3141, "crc32:c6d7e8f9"},
                 {"settings", "blocks/AdjPara.xml", 2048, ""}};
  run.vSettings = {{"MaxIterations", "20", SettingOrigin::Default},
                   {"GpsWeightXY", "0.04", SettingOrigin::File},
                   {"UseGps", "true", SettingOrigin::CommandLine},
                   {"ThreadNum", "7", SettingOrigin::Run}};
  run.vFindings = {
      {Severity::Warning, "blocks/valley.gcp", 17, -1, "point 'C-4' is 310 m above the others",
       "Look at its height", "K011", 5},
      {Severity::Note, "blocks/valley.ovt", 0, 4096, "3 points have one ray", "Leave them out", "R020", 0}};
  run.vPhases = {{RunPhase::Reading, 1.25},  {RunPhase::Preparing, 0.5}, {RunPhase::Iterating, 20.75},
                 {RunPhase::Judging, 1.125}, {RunPhase::Writing, 2.5},   {RunPhase::Reporting, 0.375}};
  run.fSeconds = 26.5;
  run.Memory = {734003200, 8589934592};
}

void AddCounts(const Plan& plan, RunFigures& run) {
  const int64_t images = plan.nImages, points = 55 * images, measurements = 211 * images;
  BlockCounts& counts = run.Counts;
  counts.nImages = plan.nImages;
  counts.nImagesInFile = plan.nImages + 1;
  counts.nCameras = 2;
  counts.nCamerasInFile = 3;
  counts.nStrips = plan.StripNum();
  counts.nTiePoints = points;
  counts.nTiePointsInFile = points + 5;
  counts.nMeasurements = measurements;
  counts.nControl = 12;
  counts.nCheck = 8;
  counts.nPosImages = plan.nImages - 2;
  counts.nUnknowns = 6 * images + 10;
  counts.nRedundancy = 2 * measurements - counts.nUnknowns - 3 * points;
  counts.nSections = 3;
  counts.bImagesUnknown = counts.bCamerasUnknown = true;
}

void AddIterations(RunFigures& run) {
  const double falls[] = {8.5, 1.75, 0.8125, 0.625, 0.6, 0.59};
  for (int32_t k = 0; k < 6; ++k) {
    const int64_t gross = run.Counts.nMeasurements / (50 + 10 * k);
    run.vIterations.push_back({k + 1,
                               {falls[k], 1.1 * falls[k]},
                               std::pow(0.1, k) * 3.7,
                               run.Counts.nMeasurements - gross - k,
                               gross,
                               40 - 3 * k,
                               std::pow(0.5, k) * 0.01,
                               3.5 - 0.05 * k});
  }
}

/// Of a normal distribution; what is beyond it lies at the ends.
Histogram Bell(double deviation, int64_t count) {
  Histogram bell{-3, 0.25, std::vector<int64_t>(24), count / 400, count / 300};
  for (size_t k = 0; k < bell.vCounts.size(); ++k) {
    const double at = (bell.fFirst + (static_cast<double>(k) + 0.5) * bell.fStep) / deviation;
    bell.vCounts[k] = std::llround(static_cast<double>(count) * bell.fStep * std::exp(-at * at / 2) /
                                   (deviation * std::sqrt(2 * std::numbers::pi)));
  }
  return bell;
}

void AddResiduals(RunFigures& run) {
  const int64_t all = run.Counts.nMeasurements;
  ResidualFigures& figures = run.Residuals;
  figures.nMeasurements = all;
  figures.nGross = all / 100;
  figures.Listed = {all - figures.nGross - 20, {0.6125, 0.7375}, {0.003, -0.002}};
  figures.StrictAll = {all - 12, {1.4375, 1.5625}, {0.021, -0.019}};
  figures.StrictKept = {all - figures.nGross - 12, {0.59, 0.649}, {0.0025, -0.0015}};
  figures.X = Bell(0.59, figures.StrictKept.nMeasurements);
  figures.Y = Bell(0.649, figures.StrictKept.nMeasurements);
}

ImageFigure ImageOf(const Plan& plan, int32_t image) {
  ImageFigure figure;
  figure.szName = "s" + std::to_string(plan.StripOf(image) + 1) + "_" + std::to_string(1000 + image) + ".tif";
  figure.nCamera = plan.StripOf(image) % 2;
  figure.nStrip = image == 5 ? -1 : plan.StripOf(image);
  figure.Centre = plan.CentreOf(image);
  figure.bHasFootprint = image != 7;
  if (figure.bHasFootprint) {
    const double corners[4][2] = {{-1, 1}, {1, 1}, {1, -1}, {-1, -1}};
    for (size_t k = 0; k < 4; ++k) {
      figure.Footprint[k] = {figure.Centre.X + corners[k][0] * 420 + Wave(image + static_cast<int64_t>(k)),
                             figure.Centre.Y + corners[k][1] * 280 + Wave(image - static_cast<int64_t>(k))};
    }
  }
  const bool worst = image == plan.nImages / 2;
  figure.nUsed = 205 + image % 9;
  figure.nGross = worst ? 90 : image % 4;
  figure.Mean = {worst ? 2.75 : 0.05 * Wave(image + 3), worst ? -1.5 : 0.05 * Wave(image + 4)};
  figure.Rmse = {worst ? 3.25 : 0.59 + 0.1 * Wave(image + 5), worst ? 2.125 : 0.649 + 0.1 * Wave(image + 6)};
  return figure;
}

report::CameraFigure CameraOf(const RunFigures& run, int32_t place) {
  report::CameraFigure camera;
  camera.szName = "camera " + std::to_string(place);
  camera.nId = 10 + place;
  camera.nWidth = 6000 + 480 * place;
  camera.nHeight = 4000 + 320 * place;
  camera.bUnknown = place == 0;
  camera.Start = {5000.5 + 100 * place, 3.25 + place, -2.75 - place, -1.5e-9, 2.5e-17};
  camera.End = camera.Start;
  if (camera.bUnknown) camera.End = {5004.125, 5.5, -1.125, -1.75e-9, 3.5e-17};
  if (camera.bUnknown) {
    camera.End.bFurther = true;
    camera.End.Further = {1.25e-28, 2.5e-9, -3.5e-9, 4.5e-6, -5.5e-6};
  }
  for (const ImageFigure& image : run.vImages) {
    if (image.nCamera != place) continue;
    ++camera.nImages;
    camera.nUsed += image.nUsed;
    camera.nGross += image.nGross;
  }
  camera.Rmse = {0.57 + 0.04 * place, 0.63 + 0.03 * place};
  for (int32_t row = 0; row < kGridRows; ++row) {
    for (int32_t column = 0; column < kGridColumns; ++column) {
      const double x = (column + 0.5) / kGridColumns - 0.5, y = 0.5 - (row + 0.5) / kGridRows;
      const double size = place == 0 ? 0.8 : 0.1;
      const int64_t number = row == 0 && column == 0 ? 0 : 10 + 3 * row + column;
      camera.vField.push_back({number, {number > 0 ? size * x : 0, number > 0 ? size * y : 0}});
    }
  }
  for (int32_t k = 0; k < kRadialBins; ++k)
    camera.vRings.push_back({100 + 20 * k, {0.4 + 0.02 * k, 0.38}, {0.02 * k, 0.001 * place}});
  camera.fRingWidth = std::hypot(camera.nWidth, camera.nHeight) / 2 / kRadialBins;
  return camera;
}

GroundPointFigure GroundPointOf(const Plan& plan, int32_t k) {
  GroundPointFigure point;
  point.bControl = k < 12;
  point.szName = point.bControl ? "C-" + std::to_string(k + 1) : "K-" + std::to_string(k - 11);
  point.Given = {kX0 + plan.Width() * (0.05 + 0.3 * (k % 4)), kY0 + plan.Depth() * (0.05 + 0.2 * (k / 4)), 0};
  point.Given.Z = HeightAt(point.Given.X, point.Given.Y);
  point.bIntersected = k != 3;
  if (point.bIntersected) point.Difference = {0.04 * Wave(k + 1), 0.05 * Wave(k + 2), 0.09 * Wave(k + 3)};
  if (k == 19) point.Difference = {1.25, -0.875, 2.5};
  point.nRays = point.bIntersected ? 4 + k % 5 : 1;
  point.fRmse = 0.5 + 0.02 * k;
  point.fWorst = 1.1 + 0.03 * k;
  point.szWorstImage = "s1_" + std::to_string(1000 + k % plan.nOfStrip) + ".tif";
  return point;
}

GroundStatistics StatisticsOf(const std::vector<GroundPointFigure>& points, bool control, double add) {
  GroundStatistics all;
  Triple squares;
  for (const GroundPointFigure& point : points) {
    if (point.bControl != control || !point.bIntersected) continue;
    const auto& [x, y, z] = point.Difference;
    ++all.nNum;
    all.Mean = {all.Mean.X + x + add, all.Mean.Y + y + add, all.Mean.Z + z + add};
    squares = {squares.X + x * x, squares.Y + y * y, squares.Z + z * z};
  }
  const auto n = static_cast<double>(all.nNum);
  all.Mean = {all.Mean.X / n, all.Mean.Y / n, all.Mean.Z / n};
  all.Rmse = {std::sqrt(squares.X / n) + add, std::sqrt(squares.Y / n) + add, std::sqrt(squares.Z / n) + add};
  const auto deviation = [&](double rmse, double mean) {
    return std::sqrt(std::max(rmse * rmse - mean * mean, 0.0) * n / (n - 1));
  };
  all.Deviation = {deviation(all.Rmse.X, all.Mean.X), deviation(all.Rmse.Y, all.Mean.Y),
                   deviation(all.Rmse.Z, all.Mean.Z)};
  all.fHorizontal = std::hypot(all.Rmse.X, all.Rmse.Y);
  return all;
}

void AddGround(const Plan& plan, RunFigures& run) {
  GroundFigures& ground = run.Ground;
  for (int32_t k = 0; k < 20; ++k) ground.vPoints.push_back(GroundPointOf(plan, k));
  ground.fSurveySigmaH = 0.02;
  ground.fSurveySigmaV = 0.035;
  ground.Control = StatisticsOf(ground.vPoints, true, 0);
  ground.Check = StatisticsOf(ground.vPoints, false, 0);
  ground.ListedControl = StatisticsOf(ground.vPoints, true, 0.0625);
  ground.ListedCheck = StatisticsOf(ground.vPoints, false, 0.03125);
}

void AddPos(const Plan& plan, RunFigures& run) {
  PosFigures pos;
  pos.bGps = pos.bImu = pos.bConstant = pos.bLinear = true;
  pos.fWeightXY = 0.04;
  pos.fWeightZ = 0.02;
  pos.fSigmaXY = 0.05;
  pos.fSigmaZ = 0.075;
  for (int32_t strip = 0; strip < plan.StripNum(); ++strip) {
    const double size = strip == 1 ? 0.8 : 0.1;
    const int32_t images = std::min(plan.nOfStrip, plan.nImages - strip * plan.nOfStrip);
    pos.vStrips.push_back({strip,
                           images,
                           {size + 0.01 * Wave(strip), -size + 0.01 * Wave(strip + 1), 0.5 * size},
                           {0.001 * size, 0.002 * size, -0.003 * size},
                           {0.04 + 0.01 * Wave(strip + 2), 0.045 + 0.01 * Wave(strip + 3), 0.07}});
  }
  for (int32_t image = 0; image < plan.nImages; ++image) {
    if (image == 5 || image == 6) continue;
    pos.vImages.push_back({image,
                           plan.StripOf(image),
                           4.0 * (image % plan.nOfStrip) + 0.125,
                           {0.06 * Wave(image + 1), 0.07 * Wave(image + 2), 0.1 * Wave(image + 3)}});
  }
  pos.Rmse = {0.035, 0.0405, 0.0575};
  run.Pos = std::move(pos);
}

void AddPrecision(const Plan& plan, RunFigures& run) {
  PrecisionFigures precision;
  precision.fSigma0 = 1.0625;
  precision.nRedundancy = 1234;
  precision.fSquares = 1393.0625;
  precision.fLow = 1138.5;
  precision.fHigh = 1333.25;
  precision.szTest = "too large";
  precision.nDatumDefect = 1;
  precision.vFree = {"height"};
  precision.szRefusal = "Y of image IMG_000003 is not determined";
  precision.nBlunders = 17;
  precision.nImages = plan.nImages;
  precision.Centres = {{0.01, 0.0125, 0.02}, {0.015, 0.0175, 0.025}, {0.05, 0.06, 0.07}};
  precision.Angles = {{0.001, 0.00125, 0.0005}, {0.0015, 0.00175, 0.00075}, {0.005, 0.006, 0.0025}};
  precision.vCameras = {
      {"0", {{"f", "px", 8000.25, 0.5}, {"k1", "px^-2", 1.5e-9, 2.5e-11}}, {{"f", "k1", -0.96875}}},
      {"1", {{"lever arm X", "object units", 0.125, 0.0625}}, {}}};
  const double none = std::nan("");
  for (int32_t k = 0; k < 8; ++k) {
    const double sign = k % 2 == 0 ? 1 : -1;
    precision.vGround.push_back({"G" + std::to_string(k),
                                 true,
                                 4 + k,
                                 {0.01, 0.0125, 0.02},
                                 {sign * 0.5 * k, 0.25, -0.75},
                                 {0.5, 0.625, 0.25},
                                 {0.125, 0.125, 0.25},
                                 {2, 2, 4.5}});
  }
  precision.vGround.push_back({"G8",
                               true,
                               2,
                               {none, none, 0.03},
                               {none, none, -5.5},
                               {none, none, 0.5},
                               {none, none, 0.25},
                               {none, none, 3}});
  for (int32_t k = 0; k < 6; ++k)
    precision.vGround.push_back({"C" + std::to_string(k),
                                 false,
                                 3 + k,
                                 {0.0125, 0.0125, 0.01 * (k + 2)},
                                 {0.5, -1.25, 4.25 - k},
                                 {},
                                 {},
                                 {}});
  precision.vSuspects = {{"control", true, "", "G8", "X Y Z", 5.25, "object units", 61.5},
                         {"measurement", true, "IMG_000002", "P17", "x y", 12.5, "px", 22.75},
                         {"gps", false, "IMG_000003", "", "Z", -0.75, "object units", 4.5, 0.875, 0.5, 1.625},
                         {"measurement", true, "IMG_000004", "P18", "x y", none, "px", none}};
  precision.nSuspects = 117;
  precision.vVariances = {{"measurements", "0", 20000, 15000.5, 1.25, 0.0078125, true},
                          {"control X Y", "", 18, 12.5, 0.75, 0.1875, false},
                          {"control Z", "", 9, 4.5, 1, none, false}};
  run.Precision = std::move(precision);
}

void AddPoints(const Plan& plan, RunFigures& run) {
  PointFigures& points = run.Points;
  points.nPoints = run.Counts.nTiePoints;
  points.nNotIntersected = 4;
  points.nNotInFront = 2;
  points.Rays = {2, 1, {}, 0, points.nPoints / 200};
  for (int32_t k = 0; k < 12; ++k) points.Rays.vCounts.push_back(points.nPoints / (3 + k));
  points.Angles = {0, 5, {}, 0, points.nPoints / 1000};
  for (int32_t k = 0; k < 24; ++k) points.Angles.vCounts.push_back(points.nPoints / (20 + std::abs(k - 9)));
  points.fMeanRays = 3.85;
  points.fMedianAngle = 41.5;
  points.fShareBelow3 = 27.25;
  const int32_t columns = 2 * plan.nOfStrip, rows = 2 * plan.StripNum();
  points.fCellSize = plan.Width() / columns;
  points.fCellX0 = kX0 - 300;
  points.fCellY0 = kY0 - 200;
  int64_t below = 0;
  for (int32_t row = 0; row < rows; ++row) {
    for (int32_t column = 0; column < columns; ++column) {
      if ((row + 2 * column) % 17 == 3) continue;  // water
      const int64_t num = 8 + (3 * row + 5 * column) % 30;
      const bool edge = row == 0 || column == 0 || row + 1 == rows || column + 1 == columns;
      const int64_t rays = edge ? 2 * num + num / 3 : 4 * num + column % 5;
      below += edge ? 1 : 0;
      points.vCells.push_back({column, row, num, rays,
                               HeightAt(points.fCellX0 + points.fCellSize * (column + 0.5),
                                        points.fCellY0 + points.fCellSize * (row + 0.5))});
    }
  }
  points.fCellsBelow3 = 100.0 * static_cast<double>(below) / static_cast<double>(points.vCells.size());
  points.fGsd = kGsd;
  points.Low = {points.fCellX0, points.fCellY0, kGround - 41};
  points.High = {points.fCellX0 + points.fCellSize * columns, points.fCellY0 + points.fCellSize * rows,
                 kGround + 42};
}

void AddJudgement(RunFigures& run) {
  run.Judgement.bJudged = true;
  run.Judgement.Result = Grade::Doubtful;
  run.Judgement.vReasons = {
      {Grade::Doubtful, "check point K-8 is 2.93 off", "at most 0.42, three pixels on the ground",
       "Look at its coordinates and at its measurements"},
      {Grade::Doubtful, "one image has 3.9 pixels of RMSE", "at most 2.5",
       "Look at the image, or leave it out"}};
}

}  // namespace

RunFigures MakeSampleFigures(int32_t images) {
  const Plan plan = PlanOf(images);
  RunFigures run;
  AddFrame(run);
  AddCounts(plan, run);
  AddIterations(run);
  AddResiduals(run);
  for (int32_t image = 0; image < plan.nImages; ++image) run.vImages.push_back(ImageOf(plan, image));
  for (int32_t place = 0; place < 2; ++place) run.vCameras.push_back(CameraOf(run, place));
  AddGround(plan, run);
  AddPos(plan, run);
  AddPrecision(plan, run);
  AddPoints(plan, run);
  AddJudgement(run);
  return run;
}

RunFigures MakeFailedFigures() {
  RunFigures run;
  run.Program = {"0.4.0", "GCC 12.2.0, Release", "avx2", "cpu", 8};
  run.szBegin = "2026-11-22 16:31:00";
  run.szFailure = "blocks/valley.prj:12: image 4 has camera 9, which the project does not have";
  run.szProject = "valley.prj";
  run.vInputs = {{"project", "blocks/valley.prj", 4711, ""}};
  run.vFindings = {{Severity::Error, "blocks/valley.prj", 12, -1,
                    "image 4 has camera 9, which the project does not have",
                    "Correct the camera of the image", "R003", 8}};
  run.vPhases = {{RunPhase::Reading, 0.25}};
  run.fSeconds = 0.25;
  return run;
}

std::string NastyName() {
  return std::string("=\"double\" 'single' </script><b>&amp; \\back\r\nnext\ttab ") + "\x01\x1b[31m\x7f" +
         " \xff\xc3( \xed\xa0\x80 " + "\xf0\x9f\x9b\xb0" + " \xe2\x80\xae" + "fdp.exe \xe2\x80\xa8,;--><!--";
}

}  // namespace orvo::test
