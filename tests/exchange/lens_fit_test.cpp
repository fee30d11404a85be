#include "exchange/LensFit.h"

#include <gtest/gtest.h>

#include "exchange/ModelFixture.h"

namespace orvo::exchange {
namespace {

ForeignCamera SimpleRadial() {
  ForeignCamera camera;
  camera.Lens = LensModel::SimpleRadial;
  camera.nWidth = 2832;
  camera.nHeight = 2128;
  camera.dFx = camera.dFy = 2971.71;
  camera.dCx = 1416;
  camera.dCy = 1064;
  camera.Parameters = {-0.164224};
  return camera;
}

TEST(LensFit, OurCameraForARadialOne) {
  const auto fitted = FitSurveyCamera(SimpleRadial());
  ASSERT_TRUE(fitted);
  EXPECT_NEAR(fitted->Camera.dFocal, 2970.7848, 5e-5);
  EXPECT_NEAR(fitted->Camera.dK1, -1.778355e-8, 5e-15);
  EXPECT_NEAR(fitted->Camera.dK2, -1.562262e-15, 5e-22);
  EXPECT_NEAR(fitted->Error.dRms, 0.062, 5e-4);
  EXPECT_NEAR(fitted->Error.dMax, 0.598, 5e-4);
  EXPECT_NEAR(LargestDistortion(SimpleRadial()), 127, 0.5);
}

TEST(LensFit, APinholeFitsExactly) {
  const ForeignCamera camera = CameraLike(EveryCamera()[0]);
  const auto fitted = FitSurveyCamera(camera);
  ASSERT_TRUE(fitted);
  EXPECT_NEAR(fitted->Camera.dFocal, 2400, 1e-9);
  EXPECT_NEAR(fitted->Camera.dX0, 3.25, 1e-12);
  EXPECT_NEAR(fitted->Camera.dY0, 3.5, 1e-12);
  EXPECT_LT(fitted->Error.dMax, 1e-9);
}

TEST(LensFit, WithoutDistortionNoneIsFitted) {
  const struct {
    LensModel Lens;
    std::vector<double> Parameters;
  } rows[] = {{LensModel::Pinhole, {}},
              {LensModel::SimpleRadial, {0}},
              {LensModel::Brown, {0, 0, 0, 0, 0}},
              {LensModel::FullOpenCv, {0, 0, 0, 0, 0, 0, 0, 0}}};
  for (const auto& row : rows) {
    const auto fitted = FitSurveyCamera(CameraLike({"", row.Lens, row.Parameters}));
    ASSERT_TRUE(fitted) << NameOf(row.Lens);
    EXPECT_EQ(fitted->Camera.dFocal, 2400) << NameOf(row.Lens);
    EXPECT_EQ(fitted->Camera.dX0, 3.25) << NameOf(row.Lens);
    EXPECT_EQ(fitted->Camera.dK1, 0) << NameOf(row.Lens);
    EXPECT_EQ(fitted->Camera.dK2, 0) << NameOf(row.Lens);
    EXPECT_EQ(fitted->Error.dMax, 0) << NameOf(row.Lens);
  }
  EXPECT_NE(FitSurveyCamera(CameraLike({"", LensModel::SimpleFisheye, {0}}))->Camera.dK1, 0);
}

TEST(LensFit, TheLargestAngleIsThatOfTheCorner) {
  ForeignCamera camera = CameraLike({"", LensModel::Pinhole, {}});
  camera.dCx = 1500;
  camera.dCy = 1000;
  EXPECT_NEAR(LargestAngle(camera), std::atan(std::hypot(1500, 1000) / 2400), 1e-12);
  camera.Lens = LensModel::SimpleFisheye;
  camera.Parameters = {0};
  EXPECT_NEAR(LargestAngle(camera), std::hypot(1500, 1000) / 2400, 1e-12);
}

TEST(LensFit, EveryModelFindsItselfAgain) {
  for (const NamedCamera& named : EveryCamera()) {
    const ForeignCamera camera = CameraLike(named);
    const auto fitted = FitForeignCamera([&](LensPoint pixel) { return DirectionOf(camera, pixel); }, 3000,
                                         2000, {named.Lens, named.bOneFocal, false});
    ASSERT_TRUE(fitted) << named.szName;
    EXPECT_LT(fitted->Error.dMax, 1e-4) << named.szName;
    EXPECT_NEAR(fitted->Camera.dCx, camera.dCx, 1e-2) << named.szName;
  }
}

/// What the rational and the radial model leave of cameras of ours.
TEST(LensFit, OursInOtherModels) {
  const struct {
    SurveyCamera Camera;
    double dRational, dRadial;  ///< largest, pixels
  } rows[] = {
      {{0, 3600, 2700, 2552.56186632, 0, 0, -5.524530325465e-09, 3.359279379611e-16, 0}, 1.1e-6, 0.4},
      {{0, 20010, 13080, 25000, 0, 0, 2.4e-12, 0, 0}, 1e-8, 1e-3},
  };
  for (const auto& row : rows) {
    const auto way = [&](LensPoint pixel) { return std::optional(DirectionOf(row.Camera, pixel)); };
    const auto rational = FitForeignCamera(way, row.Camera.nWidth, row.Camera.nHeight, {});
    ASSERT_TRUE(rational);
    EXPECT_LT(rational->Error.dMax, row.dRational) << row.Camera.dFocal;
    const auto radial =
        FitForeignCamera(way, row.Camera.nWidth, row.Camera.nHeight, {LensModel::Radial, true, true});
    ASSERT_TRUE(radial);
    EXPECT_LT(radial->Error.dMax, row.dRadial) << row.Camera.dFocal;
    EXPECT_EQ(radial->Camera.dCx, row.Camera.nWidth / 2.0);
    EXPECT_GT(radial->Error.dMax, rational->Error.dMax);
  }
}

/// Between the points of the grid as well: along a radius in steps of a twentieth of a pixel.
TEST(LensFit, TheRationalModelHasNoPoleInTheImage) {
  const SurveyCamera cameras[] = {
      {0, 8000, 12000, 12000.19466, 1.376312, -0.097062, 1e-10, 0, 0},
      {0, 3600, 2700, 2552.56186632, 0, 0, -5.524530325465e-09, 3.359279379611e-16, 0},
      {0, 20010, 13080, 25000, 0, 0, 2.4e-12, 0, 0},
      {0, 4000, 3000, 3000, 12, -7, 1e-14, 0, 0},
      {0, 4000, 3000, 3000, 12, -7, 1e-9, -5e-17, 0},
      {0, 4000, 3000, 2400, 0, 0, -2e-8, 8e-16, 0},
  };
  for (const SurveyCamera& ours : cameras) {
    const auto way = [&](LensPoint pixel) { return std::optional(DirectionOf(ours, pixel)); };
    const auto fitted =
        FitForeignCamera(way, ours.nWidth, ours.nHeight, {LensModel::FullOpenCv, false, false});
    ASSERT_TRUE(fitted) << ours.dK1;
    EXPECT_LT(fitted->Error.dMax, 1e-3) << ours.dK1;
    const double corner = std::hypot(ours.nWidth, ours.nHeight) / 2;
    double farthest = 0;
    for (double r = 0.01; r < corner; r += 0.05) {
      const LensPoint pixel{ours.nWidth / 2.0 + r * ours.nWidth / 2 / corner,
                            ours.nHeight / 2.0 + r * ours.nHeight / 2 / corner};
      const LensPoint back = PixelOf(fitted->Camera, DirectionOf(ours, pixel));
      farthest = std::max(farthest, std::hypot(back.u - pixel.u, back.v - pixel.v));
    }
    EXPECT_LT(farthest, 1.5 * fitted->Error.dMax + 1e-9) << ours.dK1;
  }
}

TEST(LensFit, NoFitWhereAPixelHasNoDirection) {
  ForeignCamera camera = SimpleRadial();
  camera.Parameters = {-3};
  EXPECT_FALSE(FitSurveyCamera(camera));
  EXPECT_FALSE(FitForeignCamera([&](LensPoint pixel) { return DirectionOf(camera, pixel); }, 2832, 2128, {}));
}

}  // namespace
}  // namespace orvo::exchange
