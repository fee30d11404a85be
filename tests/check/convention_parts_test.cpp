// Image axes, matrix readings, intersection and defects of matrices, each for itself.
#include <gtest/gtest.h>

#include "check/SurveyBlocks.h"
#include "check/block/ConventionTrial.h"
#include "check/block/CoordinateRange.h"
#include "check/block/RotationDefects.h"

namespace orvo::test {
namespace {

TEST(ImageAxesTable, BringsTheSamePointToTheCentreFrame) {
  SurveyCamera camera;
  camera.nWidth = 3600;
  camera.nHeight = 2700;
  camera.dFocal = 2500;
  struct Row {
    double x, y;
    const char* szWrite;
  };
  // The image point (100, 50) as each of the axes has it.
  const Row rows[] = {{100, 50, "x, y"},
                      {100, -50, "x, -y"},
                      {1900, 1300, "x - 1800, 1350 - y"},
                      {1900, 1400, "x - 1800, y - 1350"},
                      {50, 100, "y, x"}};
  const auto axes = AllImageAxes();
  ASSERT_EQ(axes.size(), std::size(rows));
  for (size_t i = 0; i < axes.size(); ++i) {
    EXPECT_EQ(CorrectedIn(axes[i], camera, rows[i].x, rows[i].y), (std::array<double, 2>{100, 50})) << i;
    EXPECT_EQ(WriteInstead(axes[i], {&camera, 1}), rows[i].szWrite);
  }
  camera.nWidth = 3601;
  EXPECT_EQ(WriteInstead(axes[2], {&camera, 1}), "x - 1800.5, 1350 - y");
  std::array<SurveyCamera, 2> two{camera, camera};
  two[1].nHeight = 100;
  EXPECT_EQ(WriteInstead(axes[2], two), "x - w / 2, h / 2 - y with the width w and height h of the camera");
}

TEST(ImageAxesTable, PrincipalPointTurnsWithTheAxes) {
  SurveyCamera camera;
  camera.dX0 = 3;
  camera.dY0 = 5;
  const auto axes = AllImageAxes();
  EXPECT_EQ(CorrectedIn(axes[0], camera, 10, 20), (std::array<double, 2>{7, 15}));
  EXPECT_EQ(CorrectedIn(axes[1], camera, 10, 20), (std::array<double, 2>{7, -15}));
  EXPECT_EQ(CorrectedIn(axes[4], camera, 10, 20), (std::array<double, 2>{15, 7}));
}

TEST(CorrectedMeasurementOfARay, SubtractsTheDistortion) {
  SurveyCamera camera;
  camera.dX0 = 1;
  camera.dK1 = 1e-6;
  camera.dK2 = 1e-12;
  // u 300, v 400, r2 250,000: D = 0.25 + 0.0625.
  const auto [x, y] = CorrectedMeasurement(camera, 301, 400);
  EXPECT_DOUBLE_EQ(x, 300 - 300 * 0.3125);
  EXPECT_DOUBLE_EQ(y, 400 - 400 * 0.3125);
  // What a run takes for 0.
  camera.dK1 = 1.1e-5;
  camera.dK2 = -1.1e-11;
  EXPECT_EQ(CorrectedMeasurement(camera, 301, 400), (std::array<double, 2>{300, 400}));
}

TEST(MatrixReadingTable, GivesRotationAndCentre) {
  const Orientation written{{0, 1, 0, 0, 0, 1, 1, 0, 0}, {1, 2, 3}};
  using Matrix = std::array<double, 9>;
  using Vector = std::array<double, 3>;
  struct Row {
    Matrix R;
    Vector S;
  };
  const Row rows[] = {
      {{0, 1, 0, 0, 0, 1, 1, 0, 0}, {1, 2, 3}},      {{0, 0, 1, 1, 0, 0, 0, 1, 0}, {1, 2, 3}},
      {{0, -1, 0, 0, 0, -1, 1, 0, 0}, {1, 2, 3}},    {{0, 0, -1, 1, 0, 0, 0, -1, 0}, {1, 2, 3}},
      {{0, 1, 0, 0, 0, 1, 1, 0, 0}, {-2, -3, -1}},   {{0, 0, 1, 1, 0, 0, 0, 1, 0}, {-3, -1, -2}},
      {{0, 0, -1, 1, 0, 0, 0, -1, 0}, {-3, -1, -2}}, {{1, 0, 0, 0, 0, 1, 0, -1, 0}, {1, 2, 3}},
      {{-1, 0, 0, 0, 0, 1, 0, 1, 0}, {1, 2, 3}},     {{0, -1, 0, 0, 0, 1, -1, 0, 0}, {1, 2, 3}}};
  const auto readings = AllMatrixReadings();
  ASSERT_EQ(readings.size(), std::size(rows));
  for (size_t i = 0; i < readings.size(); ++i) {
    const Orientation orientation = Read(readings[i], written);
    for (size_t k = 0; k < 9; ++k) EXPECT_DOUBLE_EQ(orientation.R[k], rows[i].R[k]) << i << ' ' << k;
    for (size_t k = 0; k < 3; ++k) EXPECT_DOUBLE_EQ(orientation.S[k], rows[i].S[k]) << i << ' ' << k;
  }
}

SightRay Down(double X, double Y, double x, double y) {
  return {{1, 0, 0, 0, 1, 0, 0, 0, 1}, {X, Y, 100}, 1000, x, y};
}

TEST(LeastSquares, ExactRaysMeetInTheirPoint) {
  // The point (5, 7, 20) from 80 above: x = f dX / 80.
  const SightRay rays[] = {Down(0, 0, 62.5, 87.5), Down(40, 0, -437.5, 87.5), Down(0, 40, 62.5, -412.5)};
  const auto met = IntersectLeastSquares(rays);
  ASSERT_TRUE(met);
  EXPECT_NEAR(met->P[0], 5, 1e-10);
  EXPECT_NEAR(met->P[1], 7, 1e-10);
  EXPECT_NEAR(met->P[2], 20, 1e-10);
  EXPECT_NEAR(met->dRms, 0, 1e-9);
  EXPECT_NEAR(met->dDepth, 80, 1e-9);
  EXPECT_EQ(met->nBehind, 0);
  EXPECT_FALSE(met->bAbove);
}

TEST(LeastSquares, ParallaxAcrossTheBaseIsSplit) {
  const SightRay rays[] = {Down(0, 0, 500, 4), Down(100, 0, -500, -4)};
  const auto met = IntersectLeastSquares(rays);
  ASSERT_TRUE(met);
  EXPECT_NEAR(met->dRms, 4, 1e-3);
  EXPECT_NEAR(met->P[0], 50, 1e-6);
  EXPECT_NEAR(met->P[2], 0, 0.05);
}

TEST(LeastSquares, PointBehindAndAboveTheCameras) {
  const SightRay rays[] = {Down(0, 0, -500, 0), Down(100, 0, 500, 0)};
  const auto met = IntersectLeastSquares(rays);
  ASSERT_TRUE(met);
  EXPECT_NEAR(met->P[2], 200, 1e-9);
  EXPECT_EQ(met->nBehind, 2);
  EXPECT_TRUE(met->bAbove);
}

TEST(LeastSquares, NoPoint) {
  const SightRay parallel[] = {Down(0, 0, 0, 0), Down(100, 0, 0, 0)};
  EXPECT_FALSE(IntersectLeastSquares(parallel));
  EXPECT_FALSE(IntersectLeastSquares(std::span(parallel).first(1)));
  const SightRay same[] = {Down(0, 0, 1, 1), Down(0, 0, 1, 1)};
  EXPECT_FALSE(IntersectLeastSquares(same));
}

TEST(RotationDefectsOf, Matrices) {
  SurveyImage good, skewed, mirrored, unknown, nowhere;
  good.S = skewed.S = mirrored.S = unknown.S = {1, 2, 3};
  good.R = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  skewed.R = {1, 0.01, 0, 0, 1, 0, 0, 0, 1};
  mirrored.R = {1, 0, 0, 0, -1, 0, 0, 0, 1};
  unknown.R.fill(NAN);
  EXPECT_NEAR(OrthonormalityError(skewed.R), 0.01, 1e-12);
  EXPECT_DOUBLE_EQ(Determinant(mirrored.R), -1);
  const SurveyImage images[] = {good, unknown, nowhere, mirrored, skewed, mirrored};
  const RotationDefects defects = FindRotationDefects(images);
  EXPECT_EQ(defects.nMirrored, 2);
  EXPECT_EQ(defects.nSkewed, 1);
  EXPECT_EQ(defects.nFirst, 3u);
}

SyntheticOptions SmallBlock() {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 5;
  options.nControlPoints = options.nCheckPoints = 0;
  return options;
}

/// Orientations too far off for any reading: only the range of the coordinates tells.
TEST(Conventions, CornerOriginWithoutOrientations) {
  SurveyBlock block = ReadGenerated(SmallBlock());
  for (SurveyMeasurement& measurement : block.Tie.Measurements) {
    measurement.x += 4000;
    measurement.y = 6000 - measurement.y;
  }
  for (size_t i = 0; i < block.Images.size(); ++i) block.Images[i].S[i % 3] += 2000 * std::sin(7.0 * i);
  EXPECT_EQ(Remedies(block),
            "C013: Count from the image centre with y up: write x - 4000, 6000 - y where y points down, x - "
            "4000, y - 6000 "
            "where it points up");
}

/// Measurements of unturned vertical images with y down are the image of a mirrored ground in a single strip.
TEST(Conventions, SymmetricBlocksWithoutNoise) {
  for (const int strips : {1, 2, 3}) {
    for (const double heading : {0.0, 90.0, 45.0}) {
      SyntheticOptions options = SmallBlock();
      options.nStrips = strips;
      options.fHeading = heading;
      options.fScatter = options.fTilt = options.fNoise = options.fRelief = 0;
      options.fStartAngle = options.fStartPosition = options.fStartFocal = options.fStartPrincipal = 0;
      const SurveyBlock block = ReadGenerated(options);
      const ConventionVerdict verdict = TryConventions(block);
      EXPECT_FALSE(verdict.bWrong) << strips << ' ' << heading;
      EXPECT_LT(verdict.Written.dRms, 1e-3);
      SurveyBlock down = block;
      for (SurveyMeasurement& measurement : down.Tie.Measurements) measurement.y = -measurement.y;
      const ConventionVerdict wrong = TryConventions(down);
      EXPECT_EQ(wrong.bWrong, strips > 1) << strips << ' ' << heading;
      EXPECT_STREQ(wrong.Best.pAxes->szCode, strips > 1 ? "C001" : nullptr);
    }
  }
}

TEST(Conventions, CrewedBlockWithMargin) {
  SurveyBlock block = ReadGenerated({});
  const ConventionVerdict right = TryConventions(block);
  EXPECT_FALSE(right.bWrong);
  EXPECT_LT(right.Written.dRms, 40);
  for (SurveyMeasurement& measurement : block.Tie.Measurements) measurement.y = -measurement.y;
  const ConventionVerdict wrong = TryConventions(block);
  EXPECT_TRUE(wrong.bWrong);
  EXPECT_GT(wrong.Written.dRms, 300);
}

TEST(Conventions, TooFewPointsTellNothing) {
  SurveyBlock block = ReadGenerated(SmallBlock());
  block.Tie.Points.resize(kFewestTrialPoints - 1);
  const ConventionVerdict verdict = TryConventions(block);
  EXPECT_EQ(verdict.nPoints, kFewestTrialPoints - 1);
  EXPECT_FALSE(verdict.bWrong);
}

/// The centre of the image written in the axes of the corner: the rays are those of y down from the centre.
TEST(Conventions, CornerOriginWithItsPrincipalPoint) {
  SurveyBlock block = ReadGenerated(SmallBlock());
  for (SurveyMeasurement& measurement : block.Tie.Measurements) {
    measurement.x += 4000;
    measurement.y = 6000 - measurement.y;
  }
  for (SurveyCamera& camera : block.Cameras) {
    camera.dX0 += 4000;
    camera.dY0 = 6000 - camera.dY0;
  }
  EXPECT_EQ(Remedies(block), "C002: Write x - 4000, 6000 - y, and the principal point in the same axes");
}

}  // namespace
}  // namespace orvo::test
