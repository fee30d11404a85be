#include "report/FiguresOfRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "RunParts.h"
#include "report/FigureParts.h"

namespace orvo::report {
namespace {

using test::FigureBlock;
using test::kScale;
using test::RunParts;

/// An image 100 above the ground at (10, 20), f 5, 4000 x 3000 pixels: 80 x 60 on the ground.
FigureBlock OneImage() {
  FigureBlock block(2, 1);
  IopRecord camera = block.Iop[0];
  camera.fPrincipalX = camera.fPrincipalY = camera.fK1 = camera.fK2 = 0;
  block.Iop[0] = camera;
  block.Eop[0] = block.Eop[1] = EopRecord();
  block.Eop[0].X = 10;
  block.Eop[0].Y = 20;
  block.Eop[0].Z = 105;
  block.Eop[1] = block.Eop[0];
  block.Eop[1].X = 30;
  block.AddPoint({15, 20, 5}, 0, 0);
  block.AddPoint({25, 10, 5}, 0, 0);
  return block;
}

TEST(ImageFigures, FootprintByHand) {
  const FigureBlock block = OneImage();
  const RunFigures figures = RunParts(block).FromPass(block);
  ASSERT_EQ(figures.vImages.size(), 2U);
  const ImageFigure& image = figures.vImages[0];
  EXPECT_EQ(image.szName, "IMG0");
  EXPECT_EQ(image.nCamera, 0);
  EXPECT_EQ(image.nStrip, -1);
  EXPECT_EQ(image.nUsed, 2);
  EXPECT_EQ(image.nGross, 0);
  EXPECT_EQ(image.Centre.Z, 105);
  ASSERT_TRUE(image.bHasFootprint);
  constexpr double kCorners[4][2] = {{-30, 50}, {50, 50}, {50, -10}, {-30, -10}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(image.Footprint[i].x, kCorners[i][0], 1e-4) << i;
    EXPECT_NEAR(image.Footprint[i].y, kCorners[i][1], 1e-4) << i;
  }
}

TEST(ImageFigures, FootprintMovesWithThePrincipalPoint) {
  FigureBlock block = OneImage();
  block.Iop[0].fPrincipalX = 0.5;
  const RunFigures figures = RunParts(block).FromPass(block);
  ASSERT_TRUE(figures.vImages[0].bHasFootprint);
  // The points no longer fit, but the height is theirs wherever they come out.
  EXPECT_NEAR(figures.vImages[0].Footprint[1].x - figures.vImages[0].Centre.X,
              1.5 / 2.5 * (figures.vImages[0].Centre.X - figures.vImages[0].Footprint[0].x), 1e-9);
}

TEST(ImageFigures, NoFootprintBeyondTheHorizon) {
  constexpr double kDegree = std::numbers::pi / 180;
  // Half the height of the image is 16.7 degrees.
  for (const auto& [tilt, expected] : {std::pair{60.0, true}, {70.0, false}, {90.0, false}, {180.0, false}}) {
    FigureBlock block = OneImage();
    RunParts parts(block);
    FigurePass pass(FigurePassInputOf(parts.Sources()), 1);
    pass.Add(block.Points, block.Rays);
    parts.Images.pEop[0].fOmega = tilt * kDegree;
    RunFigures figures;
    FillFromPass(parts.Sources(), pass, figures);
    EXPECT_EQ(figures.vImages[0].bHasFootprint, expected) << tilt;
    EXPECT_TRUE(figures.vImages[1].bHasFootprint);
  }
}

TEST(ImageFigures, LostImagesAreNone) {
  FigureBlock block(3, 1);
  block.AddTiePoints(5, 0);
  RunParts parts(block);
  parts.Images.pEop.erase(parts.Images.pEop.begin());
  parts.Images.nImageNum = 2;
  parts.Images.pImageIndex = {-1, 0, 1};
  parts.Images.pImageOrdinal = {1, 2};
  for (ImagePointRecord& ray : block.Rays) --ray.nImage;
  const RunFigures figures = parts.FromPass(block);
  ASSERT_EQ(figures.vImages.size(), 2U);
  EXPECT_EQ(figures.vImages[0].szName, "IMG1");
  EXPECT_EQ(figures.vImages[1].szName, "IMG2");
  EXPECT_GT(figures.vImages[1].nUsed, 0);
}

TEST(CameraFigures, AreInPixels) {
  FigureBlock block(4, 2, 2);
  block.AddTiePoints(3, 0.5);
  RunParts parts(block);
  parts.Track.vStartCameras = block.Iop;
  parts.Track.vStartCameras[1].fFocal = 4.9;
  parts.Cameras.pCameraIndex = {-1, 0, 1};  // the first of the project was dropped
  for (int32_t& camera : parts.Images.pImageCamera) ++camera;
  const RunFigures figures = parts.FromPass(block);
  ASSERT_EQ(figures.vCameras.size(), 2U);
  const CameraFigure& camera = figures.vCameras[1];
  EXPECT_EQ(camera.szName, "camera 2");
  EXPECT_EQ(camera.nId, 2);
  EXPECT_EQ(camera.nWidth, 4000);
  EXPECT_TRUE(camera.bUnknown);
  EXPECT_NEAR(camera.Start.f, 4900, 1e-9);
  EXPECT_NEAR(camera.End.f, 5010, 1e-9);
  EXPECT_NEAR(camera.End.x0, 12, 1e-12);
  EXPECT_NEAR(camera.End.y0, -7, 1e-12);
  EXPECT_NEAR(camera.End.k1, -2e-9, 1e-22);
  EXPECT_NEAR(camera.End.k2, 1e-16, 1e-29);
  EXPECT_EQ(camera.nImages, 4);
  EXPECT_EQ(figures.vImages[3].nCamera, 1);
  ASSERT_EQ(camera.vField.size(), 300U);
  ASSERT_EQ(camera.vRings.size(), 20U);
  const auto inField = std::accumulate(camera.vField.begin(), camera.vField.end(), int64_t{0},
                                       [](int64_t sum, const ResidualCell& cell) { return sum + cell.nNum; });
  EXPECT_EQ(inField, camera.nUsed);
  EXPECT_EQ(figures.vCameras[0].nUsed + camera.nUsed, std::ssize(block.Rays));
  EXPECT_GT(camera.Rmse.x, 0.3);
  EXPECT_LT(camera.Rmse.x, 0.6);
}

TEST(ResidualFigures, HistogramsReachOverFourRmse) {
  FigureBlock block(5, 3);
  block.AddTiePoints(2, 0.5);
  const RunParts parts(block);
  RunFigures figures = parts.FromPass(block);
  FillFromEnd(parts.Sources(), {}, figures);
  const ResidualFigures& residuals = figures.Residuals;
  EXPECT_EQ(residuals.X.vCounts.size(), 81U);
  EXPECT_NEAR(residuals.X.fFirst, -2, 1e-12);
  EXPECT_NEAR(residuals.X.fFirst + 81 * residuals.X.fStep, 2, 1e-12);
  EXPECT_EQ(std::accumulate(residuals.Y.vCounts.begin(), residuals.Y.vCounts.end(), int64_t{0}) +
                residuals.Y.nBelow + residuals.Y.nAbove,
            residuals.StrictKept.nMeasurements);
  // More within one step of nought than farther off.
  EXPECT_GT(residuals.X.vCounts[40], residuals.X.vCounts[10]);
  EXPECT_EQ(residuals.nMeasurements, std::ssize(block.Rays));
  EXPECT_EQ(residuals.Listed.nMeasurements, 17);
  EXPECT_NEAR(residuals.Listed.Rmse.x, 0.5, 1e-12);
  EXPECT_NEAR(residuals.Listed.Mean.x, 0.125, 1e-12);
}

TEST(PointFigures, RaysAnglesAndGround) {
  FigureBlock block(8, 5);
  block.AddTiePoints(4, 0.5);
  RunParts parts(block);
  parts.Track.fGsd = test::kGsd;
  const PointFigures points = parts.FromPass(block).Points;
  const auto n = static_cast<double>(block.Points.size());
  EXPECT_EQ(points.nPoints, std::ssize(block.Points));
  EXPECT_NEAR(points.fMeanRays, static_cast<double>(block.Rays.size()) / n, 1e-12);
  const auto two =
      std::ranges::count_if(block.Points, [](const auto& point) { return point.nImagePointNum == 2; });
  EXPECT_NEAR(points.fShareBelow3, 100.0 * static_cast<double>(two) / n, 1e-9);
  EXPECT_EQ(points.Rays.fFirst, 2);
  EXPECT_EQ(points.Rays.vCounts[0], two);
  EXPECT_EQ(points.Angles.vCounts.size(), 36U);
  EXPECT_GT(points.fMedianAngle, 20);
  EXPECT_LT(points.fMedianAngle, 60);
  EXPECT_EQ(points.fGsd, test::kGsd);
  // 64 pixels of 0.02 are 1.28, which 2 holds, but not ten points; and 32 would leave fewer than 100 squares.
  EXPECT_EQ(points.fCellSize, 16);
  EXPECT_GT(points.vCells.size(), 100U);
  EXPECT_LT(points.vCells.size(), 200U);
  EXPECT_NEAR(points.Low.Z, -5, 0.5);
  EXPECT_NEAR(points.High.Z, 5, 0.5);
  double left = 1e9, top = -1e9;
  for (const ObjectPointRecord& point : block.Points) {
    left = std::min(left, point.X);
    top = std::max(top, point.Y);
  }
  EXPECT_NEAR(points.Low.X, left, 6);
  EXPECT_NEAR(points.High.Y, top, 6);
  int64_t counted = 0;
  for (size_t i = 0; i < points.vCells.size(); ++i) {
    const GroundCell& cell = points.vCells[i];
    counted += cell.nPoints;
    const double X = points.fCellX0 + (cell.nColumn + 0.5) * points.fCellSize,
                 Y = points.fCellY0 + (cell.nRow + 0.5) * points.fCellSize;
    double sum = 0, within = 0;
    for (const ObjectPointRecord& point : block.Points) {
      if (std::fabs(point.X - X) > points.fCellSize / 2 || std::fabs(point.Y - Y) > points.fCellSize / 2)
        continue;
      sum += FigureBlock::Ground(point.X, point.Y);
      ++within;
    }
    EXPECT_NEAR(static_cast<double>(cell.nPoints), within, 2) << X << " " << Y;
    EXPECT_NEAR(cell.fMeanZ, sum / within, 0.6) << X << " " << Y;
    if (i == 0) continue;
    const GroundCell& before = points.vCells[i - 1];
    EXPECT_TRUE(before.nRow < cell.nRow || (before.nRow == cell.nRow && before.nColumn < cell.nColumn));
  }
  EXPECT_EQ(counted, std::ssize(block.Points));
  EXPECT_GT(points.fCellsBelow3, 0);
  EXPECT_LT(points.fCellsBelow3, 50);
}

/// Points of a square raster 16 apart, in the mean that many of them a square.
TEST(PointFigures, SquaresFollowTheNumberOfPoints) {
  const struct {
    int nSide;       ///< of the raster, points
    double fSquare;  ///< of the map
    size_t nCells;
  } cases[] = {{1, 8, 1},     {2, 8, 4},     {4, 32, 4},     {16, 32, 64},
               {32, 32, 256}, {64, 64, 256}, {100, 64, 625}, {240, 64, 3600}};
  for (const auto& c : cases) {
    FigureSums sums;
    sums.Cells = CellMap(3);
    for (int i = 0; i < c.nSide * c.nSide; ++i)
      sums.Cells.Add(16 * (i % c.nSide) + 4, 16 * (i / c.nSide) + 4, 0, 2);
    const PointFigures points = PointFiguresOf(sums, 0.05);
    EXPECT_EQ(points.fCellSize, c.fSquare) << c.nSide;
    EXPECT_EQ(points.vCells.size(), c.nCells) << c.nSide;
  }
}

TEST(PointFigures, StraysDoNotMoveTheCorners) {
  FigureBlock block(8, 5);
  block.AddTiePoints(2, 0.5);
  ASSERT_GT(block.Points.size(), 4000U);
  const PointFigures before = RunParts(block).FromPass(block).Points;
  for (size_t i = 0; i < 3; ++i) {
    const double far[3] = {400 + 30.0 * static_cast<double>(i), 400, 40};
    const ObjectPointRecord& point = block.Points[1000 * i];
    for (int32_t k = 0; k < point.nImagePointNum; ++k) {
      ImagePointRecord& ray = block.Rays[static_cast<size_t>(point.nFirstImagePoint + k)];
      block.Project(static_cast<size_t>(ray.nImage), far, ray);
    }
  }
  const PointFigures after = RunParts(block).FromPass(block).Points;
  EXPECT_NEAR(after.High.X, before.High.X, 2);
  EXPECT_NEAR(after.High.Y, before.High.Y, 2);
  EXPECT_NEAR(after.High.Z, before.High.Z, 0.5);
  EXPECT_LT(after.vCells.size(), before.vCells.size() + 1);
}

TEST(ResidualFigures, GrossOnesAreNotKnownWhereNothingMeets) {
  FigureBlock block(4, 2);
  block.AddTiePoints(5, 0);
  EXPECT_EQ(RunParts(block).FromPass(block).Residuals.nGross, 0);
  RunParts parts(block);
  for (EopRecord& image : parts.Images.pEop) image.X = std::nan("");
  const RunFigures figures = parts.FromPass(block);
  EXPECT_EQ(figures.Residuals.nGross, kUnknownCount);
  EXPECT_EQ(figures.Residuals.nMeasurements, std::ssize(block.Rays));
  EXPECT_EQ(figures.Residuals.StrictKept.nMeasurements, 0);
  EXPECT_TRUE(std::isnan(figures.Residuals.StrictKept.Rmse.x));
  EXPECT_TRUE(std::isnan(figures.vImages[0].Rmse.y));
}

TEST(ResidualFigures, ListedOfADeviceHaveNoNumber) {
  FigureBlock block(4, 2);
  RunParts parts(block);
  parts.Limits.Apply_GPU = true;
  RunFigures figures;
  FillFromEnd(parts.Sources(), {}, figures);
  EXPECT_EQ(figures.Residuals.Listed.nMeasurements, kUnknownCount);
  EXPECT_NEAR(figures.Residuals.Listed.Rmse.x, 0.5, 1e-12);
}

TEST(Counts, OfARunWithoutAdjustmentComeFromThePass) {
  FigureBlock block(4, 2);
  block.AddTiePoints(5, 0);
  for (const bool transformed : {false, true}) {
    RunParts parts(block);
    parts.Settings.Direct_Intersection = !transformed;
    parts.Settings.Absolute_Orientation = transformed;
    parts.Points = {};
    parts.Residuals = {};
    GroundPoints ground;
    ground.Points.resize(6);
    for (size_t i = 0; i < 6; ++i) ground.Points[i].nType = i == 0 ? 0 : i < 3 ? 1 : 2;
    RunFigures figures = parts.FromPass(block);
    FillFromEnd(parts.Sources(), ground, figures);
    EXPECT_EQ(figures.Counts.nImages, 8);
    EXPECT_EQ(figures.Counts.nTiePoints, std::ssize(block.Points));
    EXPECT_EQ(figures.Counts.nTiePointsInFile, std::ssize(block.Points));
    EXPECT_EQ(figures.Counts.nMeasurements, std::ssize(block.Rays));
    EXPECT_EQ(figures.Counts.nControl, 2);
    EXPECT_EQ(figures.Counts.nCheck, 3);
    // What the report lists there is what the statistics begin with.
    EXPECT_EQ(figures.Residuals.Listed.nMeasurements, 0);
    EXPECT_TRUE(std::isnan(figures.Residuals.Listed.Rmse.x));
    EXPECT_TRUE(std::isnan(figures.Residuals.Listed.Mean.y));
  }
}

TEST(Counts, OfTablesThatNobodyFilled) {
  const FigureBlock none(0, 0);
  RunParts parts(none);
  parts.Images.nImageNum = 7;  // while the tables are read
  parts.Images.nGroupNum = 3;
  parts.Limits.Apply_GPS_Data = true;
  parts.Points.nImagePointNum = 100;
  BlockCounts counts;
  FillCounts(parts.Sources(), counts);
  EXPECT_EQ(counts.nImages, 7);
  EXPECT_EQ(counts.nMeasurements, 100);
  EXPECT_EQ(counts.nPosImages, 0);
  EXPECT_EQ(counts.nRedundancy, 0);
}

TEST(Iterations, SettleWithNumbersAlone) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double fRmse, fLargest, fDamping;
    bool bSettled;
  } rows[] = {{0.5, 1e-9, 0, true},       {0.5, 1e-9, 1, true},     {0.5, 1e-9, 1.5, false},
              {kNone, 1e-9, 0, false},    {0.5, kNone, 0, false},   {0.5, HUGE_VAL, 0, false},
              {HUGE_VAL, 1e-9, 0, false}, {kNone, kNone, 0, false}, {0, 0, 0, true}};
  for (const auto& row : rows) {
    IterationFigure figure;
    figure.Rmse = {0.5, row.fRmse};
    figure.fLargest = row.fLargest;
    figure.fDamping = row.fDamping;
    const IterationFigure both[] = {IterationFigure(), figure};
    EXPECT_EQ(HasSettled(both), row.bSettled) << row.fRmse << " " << row.fLargest << " " << row.fDamping;
  }
  EXPECT_FALSE(HasSettled({}));
}

TEST(Counts, AtTheEndOnlyWhereNobodyFilledThem) {
  FigureBlock block(4, 2);
  block.AddTiePoints(5, 0);
  RunParts parts(block);
  RunFigures figures;
  FillFromEnd(parts.Sources(), {}, figures);
  EXPECT_EQ(figures.Counts.nImages, 8);
  EXPECT_EQ(figures.Counts.nTiePoints, std::ssize(block.Points));
  EXPECT_EQ(figures.Counts.nTiePointsInFile, std::ssize(block.Points));
  parts.Points.nTiePointNum = 1000000;
  FillFromEnd(parts.Sources(), {}, figures);
  EXPECT_EQ(figures.Counts.nTiePoints, std::ssize(block.Points));
}

TEST(Counts, OfTheTables) {
  FigureBlock block(4, 2, 2);
  block.AddTiePoints(5, 0);
  RunParts parts(block);
  parts.AddPos(4);
  parts.Images.pPos[3].nStatus = kPosNotObserved;
  parts.Images.pImageGroup[5] = -1;
  parts.Points.nControlPointNum = 3;
  parts.Points.nCheckPointNum = 2;
  parts.Points.nObjectPointNum += 5;
  parts.Unknowns.nUnknownNum = 70;
  BlockCounts counts;
  counts.nTiePointsInFile = 100000;
  FillCounts(parts.Sources(), counts);
  EXPECT_EQ(counts.nImages, 8);
  EXPECT_EQ(counts.nCameras, 2);
  EXPECT_EQ(counts.nStrips, 2);
  EXPECT_EQ(counts.nPosImages, 6);
  EXPECT_EQ(counts.nTiePoints, std::ssize(block.Points));
  EXPECT_EQ(counts.nTiePointsInFile, 100000);
  EXPECT_EQ(counts.nControl, 3);
  EXPECT_EQ(counts.nCheck, 2);
  EXPECT_EQ(counts.nUnknowns, 70);
  EXPECT_EQ(counts.nRedundancy, 2 * std::ssize(block.Rays) + 3 * 6 - 3 * (std::ssize(block.Points) + 2) - 70);
  EXPECT_TRUE(counts.bImagesUnknown);
  EXPECT_TRUE(counts.bCamerasUnknown);

  parts.Settings.Direct_Intersection = true;
  FillCounts(parts.Sources(), counts);
  EXPECT_FALSE(counts.bImagesUnknown);
  EXPECT_FALSE(counts.bCamerasUnknown);
}

}  // namespace
}  // namespace orvo::report
