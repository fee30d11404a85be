#include "report/html/ResidualField.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "PageText.h"

namespace orvo::report {
namespace {

using test::Has;

// RMSE 3 / 4, so 5 in length; each cell with the mean (0.6, 0.8) times `length`.
CameraFigure CameraWith(int64_t number, double length) {
  CameraFigure camera;
  camera.nWidth = 4000;
  camera.nHeight = 3000;
  camera.Rmse = {3, 4};
  camera.nUsed = 300 * number;
  camera.vField.assign(300, {number, {0.6 * length, 0.8 * length}});
  return camera;
}

TEST(ResidualField, NoiseIsTheRmseOverTheRootOfTheNumber) {
  const FieldJudgement field = JudgeField(CameraWith(100, 2));
  EXPECT_EQ(field.nCells, 300);
  EXPECT_EQ(field.nMeasurements, 30000);
  EXPECT_NEAR(field.fLength, 2, 1e-12);
  EXPECT_NEAR(field.fNoise, 0.5, 1e-12);
  EXPECT_NEAR(field.fPattern, std::sqrt(3.75), 1e-12);
  EXPECT_NEAR(field.fShare, std::sqrt(3.75) / 5, 1e-12);
}

TEST(ResidualField, CellsWeighByTheirMeasurements) {
  CameraFigure camera = CameraWith(100, 0);
  camera.vField[7] = {15000, {3, 4}};
  const FieldJudgement field = JudgeField(camera);
  EXPECT_NEAR(field.fLength, std::sqrt(25.0 * 15000 / 44900), 1e-12);
  EXPECT_NEAR(field.fNoise, 5 * std::sqrt(300.0 / 44900), 1e-12);
}

TEST(ResidualField, FewMeasurementsAndNoNumbersAreLeftOut) {
  CameraFigure camera = CameraWith(100, 2);
  camera.vField[0] = {9, {1000, 1000}};
  camera.vField[1] = {100, {std::nan(""), 0}};
  camera.vField[2] = {100, {0, std::numeric_limits<double>::infinity()}};
  const FieldJudgement field = JudgeField(camera);
  EXPECT_EQ(field.nCells, 297);
  EXPECT_NEAR(field.fLength, 2, 1e-12);
  camera.vField.clear();
  EXPECT_EQ(JudgeField(camera).nCells, 0);
  EXPECT_EQ(KindOf(JudgeField(camera)), FieldKind::Unknown);
}

TEST(ResidualField, Kinds) {
  const struct {
    int64_t number;
    double length;
    FieldKind kind;
    const char* words;
  } cases[] = {
      {9, 5, FieldKind::Unknown, "0 cells of 300 hold 10 and more"},
      {100, 0.5, FieldKind::Noise,
       "looks like noise: the mean vectors are 0.500 px long, and noise alone would leave 0.500 px"},
      {100, 0.74, FieldKind::Noise, "looks like noise"},
      {100, 0.76, FieldKind::Systematic, "Residuals are systematic"},
      {400, 0.37, FieldKind::Noise, "looks like noise"},
      {400, 0.38, FieldKind::Slight, "slight pattern: the mean vectors are 0.380 px long"},
      {400, 0.5, FieldKind::Slight, "9 % of the RMSE"},
      {400, 0.56, FieldKind::Systematic, "Residuals are systematic"},
  };
  for (const auto& c : cases) {
    const CameraFigure camera = CameraWith(c.number, c.length);
    EXPECT_EQ(KindOf(JudgeField(camera)), c.kind) << c.number << ' ' << c.length;
    EXPECT_TRUE(Has(TellField(camera, JudgeField(camera)), c.words));
  }
}

TEST(ResidualField, WhatHelpsDependsOnWhetherTheCameraWasFitted) {
  CameraFigure camera = CameraWith(100, 2);
  EXPECT_TRUE(Has(TellField(camera, JudgeField(camera)), "Set_IOP_Unknown"));
  camera.bUnknown = true;
  EXPECT_TRUE(Has(TellField(camera, JudgeField(camera)), "tangential distortion"));
}

TEST(ResidualField, NothingLeftOverIsNoise) {
  CameraFigure camera = CameraWith(100, 0);
  camera.Rmse = {0, 0};
  EXPECT_EQ(KindOf(JudgeField(camera)), FieldKind::Noise);
  EXPECT_EQ(JudgeField(camera).fShare, 0);
}

TEST(ResidualField, PoolWeighsByMeasurements) {
  CameraFigure a = CameraWith(100, 1), b = CameraWith(300, 2);
  a.nImages = 2;
  b.nImages = 3;
  a.vRings = {{10, {1, 3}, {0.5, 0}}, {}};
  b.vRings = {{30, {2, 5}, {-0.5, 0.25}}, {}};
  a.vField[1] = {};
  b.vField[1] = {};
  b.Rmse = {6, 8};
  const CameraFigure cameras[] = {a, b};
  const auto pool = PoolCameras(cameras);
  ASSERT_TRUE(pool);
  EXPECT_EQ(pool->nImages, 5);
  EXPECT_EQ(pool->nUsed, 120000);
  EXPECT_NEAR(pool->Rmse.x, std::sqrt((9 + 3 * 36) / 4.0), 1e-12);
  EXPECT_EQ(pool->vField[0].nNum, 400);
  EXPECT_NEAR(pool->vField[0].Mean.x, 0.6 * 1.75, 1e-12);
  EXPECT_EQ(pool->vField[1].nNum, 0);
  EXPECT_EQ(pool->vField[1].Mean.y, 0);
  EXPECT_EQ(pool->vRings[0].nNum, 40);
  EXPECT_NEAR(pool->vRings[0].Rmse.x, std::sqrt((1 + 3 * 4) / 4.0), 1e-12);
  EXPECT_NEAR(pool->vRings[0].Rmse.y, std::sqrt((9 + 3 * 25) / 4.0), 1e-12);
  EXPECT_NEAR(pool->vRings[0].Mean.x, -0.25, 1e-12);
  EXPECT_EQ(pool->vRings[1].nNum, 0);
}

TEST(ResidualField, CamerasOfOtherSizesMakeNoPool) {
  const CameraFigure one[] = {CameraWith(100, 1)};
  EXPECT_FALSE(PoolCameras(one));
  CameraFigure other = CameraWith(100, 1);
  other.nHeight = 3001;
  const CameraFigure two[] = {CameraWith(100, 1), other};
  EXPECT_FALSE(PoolCameras(two));
  other = CameraWith(100, 1);
  other.vField.clear();
  const CameraFigure three[] = {CameraWith(100, 1), other};
  EXPECT_FALSE(PoolCameras(three));
}

}  // namespace
}  // namespace orvo::report
