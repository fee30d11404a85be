#include "rigorous/BlockModels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

constexpr double kDegree = std::numbers::pi / 180;
constexpr double kScale = 0.001;

/// 6000 by 4000 pixels.
IopRecord Camera() { return {4000, 6000, 5.0, 0.01, -0.02, 1e-4, -2e-6}; }

TEST(CameraModel, AMeasurementIsAsGoodInWorkingUnitsAsInPixels) {
  RigorousSettings settings;
  settings.Sigma_Image = 0.25;
  for (const double scale : {kScale, -kScale})
    EXPECT_DOUBLE_EQ(CameraModelOf(settings, Camera(), scale, {}).fSigma, 0.25e-3) << scale;
}

TEST(CameraModel, ADistortionTermMovesTheCornerByItsPrior) {
  RigorousSettings settings;
  settings.Prior_Focal = 20;
  settings.Prior_Principal = 10;
  settings.Prior_Distortion = 4;
  const CameraModel model = CameraModelOf(settings, Camera(), kScale, {.bLens = true});
  EXPECT_DOUBLE_EQ(model.PriorSigma[0], 0.02);
  EXPECT_DOUBLE_EQ(model.PriorSigma[1], 0.01);
  EXPECT_DOUBLE_EQ(model.PriorSigma[2], 0.01);
  EXPECT_EQ(model.Prior.k1, 1e-4);
  const Vector2 corner = {3, 2};
  for (int i = 3; i < kLensParameterNum; ++i) {
    Lens lens;
    ParameterOf(lens, static_cast<LensParameter>(i)) = model.PriorSigma[i];
    const Vector2 moved = CorrectedBy(lens, corner);
    EXPECT_NEAR(std::hypot(moved[0] - corner[0], moved[1] - corner[1]), 4 * kScale, 1e-12) << i;
  }
}

TEST(CameraModel, WithoutPriorsNothingIsKnownBeforehand) {
  const RigorousSettings settings;
  const CameraModel model = CameraModelOf(settings, Camera(), kScale, {.bLens = true});
  EXPECT_EQ(model.PriorSigma, CameraModel::NoPrior());
  RigorousSettings known;
  known.Prior_Distortion = 1;
  IopRecord withoutExtent = Camera();
  withoutExtent.nImageWidth = withoutExtent.nImageHeight = 0;
  EXPECT_EQ(LensPriorOf(known, withoutExtent, kScale), CameraModel::NoPrior());
}

TEST(CameraModel, MountingsAreLeftOutGivenOrUnknown) {
  RigorousSettings settings;
  settings.Lever_Arm_X = 0.1;
  settings.Lever_Arm_Z = -0.3;
  settings.Boresight_Kappa = 90;
  settings.Prior_Lever_Arm = 0.05;
  settings.Prior_Boresight = 2;
  const CameraUnknowns all = {true, true, true};
  const CameraModel none = CameraModelOf(settings, Camera(), kScale, all);
  EXPECT_FALSE(none.bLeverArm || none.bBoresight);
  EXPECT_EQ(CameraStartOf(settings, Camera()).LeverArm, Vector3{});
  EXPECT_EQ(CameraStartOf(settings, Camera()).Boresight, kIdentity3);

  settings.Lever_Arm = settings.Boresight = MountingForm::Given;
  const CameraModel given = CameraModelOf(settings, Camera(), kScale, all);
  EXPECT_FALSE(given.bLeverArm || given.bBoresight);
  EXPECT_EQ(CameraStartOf(settings, Camera()).LeverArm, (Vector3{0.1, 0, -0.3}));
  EXPECT_NEAR(VectorOfRotation(CameraStartOf(settings, Camera()).Boresight)[2], 90 * kDegree, 1e-15);

  settings.Lever_Arm = settings.Boresight = MountingForm::Estimate;
  const CameraModel unknown = CameraModelOf(settings, Camera(), kScale, all);
  EXPECT_TRUE(unknown.bLeverArm && unknown.bBoresight);
  EXPECT_EQ(unknown.LeverArmSigma, (Vector3{0.05, 0.05, 0.05}));
  EXPECT_EQ(unknown.LeverArmPrior, (Vector3{0.1, 0, -0.3}));
  EXPECT_DOUBLE_EQ(unknown.BoresightSigma[1], 2 * kDegree);
  EXPECT_FALSE(CameraModelOf(settings, Camera(), kScale, {true, false, false}).bLeverArm);
}

TEST(ImuSigma, KappaTurnsAboutTheAxisOfAVerticalImage) {
  const RigorousSettings settings;
  const Vector3 vertical = ImuSigmaOf(settings, {0, 0, 1.2});
  EXPECT_NEAR(vertical[0], 0.05 * kDegree, 1e-15);
  EXPECT_NEAR(vertical[1], 0.05 * kDegree, 1e-15);
  EXPECT_NEAR(vertical[2], 0.1 * kDegree, 1e-15);
  // On its side, an image turns with phi and kappa alike about its axis, and nothing about another.
  const Vector3 onItsSide = ImuSigmaOf(settings, {0, 90 * kDegree, 0});
  EXPECT_NEAR(onItsSide[2], std::hypot(0.05, 0.1) * kDegree, 1e-15);
  EXPECT_NEAR(onItsSide[1], 0.05 * kDegree, 1e-15);
}

TEST(ImageSigma, IsThatOfTheCameraWhereItIsStated) {
  RigorousSettings settings;
  settings.Sigma_Image_Cameras = {{1, 0.25}, {3, 2}};
  EXPECT_EQ(ImageSigmaOf(settings, -1), 0.5);
  EXPECT_EQ(ImageSigmaOf(settings, 0), 0.5);
  EXPECT_EQ(ImageSigmaOf(settings, 3), 2);
  EXPECT_DOUBLE_EQ(CameraModelOf(settings, Camera(), -1e-3, {.nCamera = 1}).fSigma, 0.25e-3);
}

TEST(GpsSigma, IsThatOfTheLineAndElseOfTheSettings) {
  const RigorousSettings settings;
  EXPECT_EQ(GpsSigmaOf(settings), (Vector3{0.1, 0.1, 0.2}));
  EXPECT_EQ(GpsSigmaOf(settings, {{0.5, PosSigma::kNotTold, kNotObserved}, {}}),
            (Vector3{0.5, 0.1, kNotObserved}));
}

TEST(ImuSigma, IsThatOfTheLineWhereAllAnglesAreObserved) {
  const RigorousSettings settings;
  PosSigma told;
  told.Angles = {0.001, 0.002, 0.004};
  const Vector3 sigma = ImuSigmaOf(settings, {0, 0, 0}, told);
  // Phi turns about the axis of y, omega about that of x.
  EXPECT_NEAR(sigma[0], 0.002, 1e-15);
  EXPECT_NEAR(sigma[1], 0.001, 1e-15);
  EXPECT_NEAR(sigma[2], 0.004, 1e-15);
  told.Angles[2] = PosSigma::kNotTold;
  EXPECT_NEAR(ImuSigmaOf(settings, {0, 0, 0}, told)[2], 0.1 * kDegree, 1e-15);
  told.Angles[0] = kNotObserved;
  EXPECT_EQ(ImuSigmaOf(settings, {0, 0, 0}, told), kNotObserved3);
}

TEST(StripModel, DriftIsUnknownWhereObservationsCanTellIt) {
  RigorousSettings settings;
  const double three[] = {0, 1, 2}, same[] = {4, 4};
  EXPECT_FALSE(StripModelOf(settings, three, three).bGpsConstant);
  settings.Drift = DriftForm::Constant;
  EXPECT_TRUE(StripModelOf(settings, three, {}).bGpsConstant);
  EXPECT_FALSE(StripModelOf(settings, three, {}).bGpsLinear);
  EXPECT_FALSE(StripModelOf(settings, three, {}).bImuConstant);
  settings.Drift = DriftForm::Linear;
  EXPECT_TRUE(StripModelOf(settings, three, same).bGpsLinear);
  EXPECT_TRUE(StripModelOf(settings, three, same).bImuConstant);
  EXPECT_FALSE(StripModelOf(settings, three, same).bImuLinear);
}

}  // namespace
}  // namespace orvo::rigorous
