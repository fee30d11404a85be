#include "rigorous/BlockProblem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "rigorous/RecordBlock.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

using test::kEast;
using test::kNorth;
using test::RecordBlock;

constexpr double kDegree = std::numbers::pi / 180;

/// Images of a point of the problem.
std::vector<int32_t> ImagesOf(const BlockProblem& block, int64_t point) {
  std::vector<int32_t> images;
  for (const Ray& ray : block.Task.RaysOf(point)) images.push_back(ray.nImage);
  return images;
}

TEST(BlockProblem, PosesCamerasAndPointsOffAMeanOrigin) {
  RecordBlock records;
  records.AddPoint("a", 0, {0, 1});
  records.AddPoint("b", 0, {0, 1, 2});
  const BlockProblem block = records.Make();
  EXPECT_EQ(block.Origin, (Vector3{kEast + 150, kNorth, 500}));
  ASSERT_EQ(block.Start.vPoses.size(), 4u);
  EXPECT_EQ(block.Start.vPoses[3].Centre, (Vector3{150, 0, 0}));
  EXPECT_EQ(block.Start.vPoses[3].R, RotationOfAngles({0.03, 0.02, 2.7}));
  ASSERT_EQ(block.Start.vPoints.size(), 2u);
  const auto b = static_cast<size_t>(std::ranges::find(block.vPoint, 1) - block.vPoint.begin());
  ASSERT_LT(b, 2u);
  EXPECT_EQ(block.Start.vPoints[b], (Vector3{1 - 150, 2, 3 - 500}));
  ASSERT_EQ(block.Start.vCameras.size(), 1u);
  const Lens& lens = block.Start.vCameras[0].LensNow;
  EXPECT_EQ(lens.f, 5.0);
  EXPECT_EQ(lens.y0, -0.02);
  EXPECT_EQ(lens.k2, -2e-6);
  EXPECT_EQ(lens.k3, 0);
}

TEST(BlockProblem, PointsStandInTheOrderOfTheirImagesAndKnowTheirRecords) {
  RecordBlock records;
  records.AddPoint("last", 0, {2, 3});
  records.AddPoint("first", 0, {1, 0});
  records.AddPoint("middle", 0, {0, 2, 3});
  const BlockProblem block = records.Make();
  EXPECT_EQ(block.vPoint, (ScratchVector<int64_t>{1, 2, 0}));
  EXPECT_EQ(block.Task.vFirstRay, (ScratchVector<int64_t>{0, 2, 5, 7}));
  EXPECT_EQ(ImagesOf(block, 0), (std::vector<int32_t>{1, 0}));
  EXPECT_EQ(block.vMeasurement, (ScratchVector<int64_t>{2, 3, 4, 5, 6, 0, 1}));
  for (size_t ray = 0; ray < block.Task.vRays.size(); ++ray) {
    const ImagePointRecord& record = records.Points.pImagePoints[block.vMeasurement[ray]];
    EXPECT_EQ(block.Task.vRays[ray].nImage, record.nImage);
    EXPECT_EQ(block.Task.vRays[ray].x, record.x);
    EXPECT_EQ(block.Task.vRays[ray].y, record.y);
  }
}

TEST(BlockProblem, WhatCannotTakePartIsLeftOut) {
  RecordBlock records;
  records.AddPoint("on deleted images", 0, {-1, -1, 0});
  records.AddPoint("twice on one image", 0, {1, 1});
  records.AddPoint("control on one image", 1, {1});
  records.AddPoint("control on none", 1, {-1});
  records.AddPoint("check on one image", 2, {1});
  records.AddPoint("good", 0, {0, -1, 3});
  const int64_t lost = records.AddPoint("without coordinates", 0, {0, 1});
  records.Points.pObjectPoints[static_cast<size_t>(lost)].Y = std::numeric_limits<double>::quiet_NaN();
  records.AddPoint("beyond the measurements", 0, {0, 1});
  records.Points.pObjectPoints.back().nFirstImagePoint = 1000;
  records.Points.pImagePoints[0].nCamera = 0;  // a measurement that knows no image
  const BlockProblem block = records.Make();
  EXPECT_EQ(block.vPoint, (ScratchVector<int64_t>{5, 2}));
  EXPECT_EQ(ImagesOf(block, 0), (std::vector<int32_t>{0, 3}));
  EXPECT_EQ(block.nLeftOut, 6);
  EXPECT_EQ(block.nControl, 1);
}

TEST(BlockProblem, ControlHasTheAccuracyOfItsLineOrOfTheSettings) {
  RecordBlock records;
  records.AddPoint("tie", 0, {0, 1});
  records.AddPoint("told", 1, {0, 1});
  records.AddPoint("untold", 1, {1, 2});
  records.AddPoint("check", 2, {2, 3});
  records.AddPoint("other", 1, {2, 3});
  const double none = GcpSigma::kNotTold;
  records.Sigmas = {{"told", {0.5, 0, kNotObserved}},
                    {"untold", {none, none, none}},
                    {"check", {1, 1, 1}},
                    {"misplaced", {1, 1, 1}}};
  const BlockProblem block = records.Make();
  ASSERT_EQ(block.Task.vControl.size(), 3u);
  EXPECT_EQ(block.vPoint[block.Task.vControl[0].nPoint], 1);
  EXPECT_EQ(block.Task.vControl[0].Sigma, (Vector3{0.5, 0, kNotObserved}));
  EXPECT_EQ(block.Task.vControl[0].Observed, (Vector3{1 - 150, 2, 3 - 500}));
  const Vector3 usual = {0.02, 0.02, 0.03};
  EXPECT_EQ(block.Task.vControl[1].Sigma, usual);
  EXPECT_EQ(block.Task.vControl[2].Sigma, usual);
  EXPECT_EQ(block.vPoint[block.Task.vControl[2].nPoint], 4);
}

TEST(BlockProblem, TheSettingsSayWhatIsUnknown) {
  RecordBlock records;
  for (int i = 0; i < 4; ++i) records.AddPoint("p", 0, {0, 1, 2});
  records.Images.pEop[1].nStatus = 1;
  BlockProblem block = records.Make();
  EXPECT_TRUE(block.Task.vImages[0].bUnknown);
  EXPECT_FALSE(block.Task.vImages[1].bUnknown) << "left out of every update";
  EXPECT_FALSE(block.Task.vImages[3].bUnknown) << "on no point";
  EXPECT_EQ(block.Task.vCameras[0].nLensUnknowns, kLensFocal | kLensPrincipalPoint | kLensRadial);
  EXPECT_EQ(block.Task.Form, ResidualForm::Measured);
  records.Rigorous.Distortion = DistortionTerms::Brown;
  records.Rigorous.Corrected_Image = true;
  records.Settings.Set_EOP_Unknown = false;
  block = records.Make();
  EXPECT_FALSE(block.Task.vImages[0].bUnknown);
  EXPECT_EQ(block.Task.vCameras[0].nLensUnknowns, kLensAll & ~kLensAffine);
  EXPECT_EQ(block.Task.Form, ResidualForm::Corrected);
  records.Rigorous.Distortion = DistortionTerms::BrownAffinity;
  EXPECT_EQ(records.Make().Task.vCameras[0].nLensUnknowns, kLensAll);
  records.Settings.Set_IOP_Unknown = false;
  EXPECT_EQ(records.Make().Task.vCameras[0].nLensUnknowns, 0u);
}

TEST(BlockProblem, ACameraWithoutMeasurementsIsHeld) {
  const RecordBlock records;
  const BlockProblem block = records.Make();
  EXPECT_EQ(block.Task.PointNum(), 0);
  EXPECT_EQ(block.Task.vCameras[0].nLensUnknowns, 0u);
  EXPECT_FALSE(block.Task.vImages[0].bUnknown);
}

TEST(BlockProblem, NoCamerasAndNoImagesAreStillAProblem) {
  RecordBlock records;
  records.Cameras = {};
  BlockProblem block = records.Make();
  EXPECT_EQ(block.Task.vCameras.size(), 1u);
  EXPECT_EQ(block.Task.vImages.size(), 4u);
  records.Images = {};
  block = records.Make();
  EXPECT_EQ(block.Task.vImages.size(), 0u);
  EXPECT_EQ(block.Origin, Vector3{});
}

TEST(BlockProblem, PosDataInForceIsObserved) {
  RecordBlock records;
  records.AddPoint("p", 0, {0, 1});
  records.AddPoint("q", 0, {2, 1});
  records.Observe(0, 0, 0);
  records.Observe(1, 0, 2.5);
  records.Limits.Apply_GPS_Data = true;
  const BlockProblem block = records.Make();
  const ImageModel& seen = block.Task.vImages[1];
  EXPECT_EQ(seen.GpsObserved, (Vector3{-50 + 0.5, 0, 0}));
  EXPECT_EQ(seen.GpsSigma, (Vector3{0.1, 0.1, 0.2}));
  EXPECT_EQ(seen.ImuSigma, kNotObserved3);
  EXPECT_EQ(seen.nStrip, 0);
  EXPECT_EQ(seen.fTime, 2.5);
  EXPECT_FALSE(block.Task.vImages[0].bUnknown) << "a ray and a position are less than six equations";
  EXPECT_EQ(block.Task.vImages[2].GpsSigma, kNotObserved3);
  EXPECT_EQ(block.Task.vImages[2].nStrip, -1);
}

TEST(BlockProblem, CamerasAreStatedByTheirPlacesInTheProject) {
  RecordBlock records;
  records.Rigorous.Sigma_Image_Cameras = {{0, 3}, {1, 0.8}};
  const BlockProblem block = records.Make();
  ASSERT_EQ(block.Task.vCameras.size(), 1U);
  EXPECT_DOUBLE_EQ(block.Task.vCameras[0].fSigma, 0.8 * std::abs(records.Settings.Image_Coor_Scale))
      << "the first was deleted";
}

TEST(BlockProblem, PosLinesHaveTheirOwnPrecision) {
  RecordBlock records;
  for (int32_t image = 0; image < 3; ++image) records.Observe(image, 0, image);
  records.Limits.Apply_GPS_Data = records.Limits.Apply_IMU_Data = true;
  records.PosSigmas.resize(2);
  records.PosSigmas[0] = {{0.3, kNotObserved, 0.5}, {1e-3, 2e-3, 4e-3}};
  records.PosSigmas[1] = {{0.3, PosSigma::kNotTold, 0.5}, {1e-3, kNotObserved, 4e-3}};
  const BlockProblem block = records.Make();
  const std::vector<ImageModel>& images = block.Task.vImages;
  EXPECT_FALSE(images[1].bUnknown) << "a position alone";
  EXPECT_EQ(images[1].GpsSigma, kNotObserved3);
  EXPECT_FALSE(images[0].bUnknown) << "five values";
  records.PosSigmas[0].Position[1] = PosSigma::kNotTold;
  const std::vector<ImageModel> whole = records.Make().Task.vImages;
  EXPECT_TRUE(whole[0].bUnknown);
  EXPECT_EQ(whole[0].GpsSigma, (Vector3{0.3, 0.1, 0.5}));
  EXPECT_NEAR(whole[0].ImuSigma[2], 4e-3, 1e-5);
  EXPECT_EQ(whole[2].GpsSigma, (Vector3{0.1, 0.1, 0.2})) << "not told";
}

TEST(BlockProblem, PartOfAPositionTellsNoDrift) {
  for (const bool plan : {true, false}) {
    RecordBlock records;
    for (int32_t image = 0; image < 4; ++image) records.Observe(image, 0, image);
    records.Limits.Apply_GPS_Data = records.Limits.Apply_IMU_Data = true;
    records.Rigorous.Drift = DriftForm::Linear;
    records.Rigorous.Lever_Arm = MountingForm::Estimate;
    for (const char* name : {"p", "q", "r"}) records.AddPoint(name, 0, {0, 1, 2, 3});
    PosSigma told;
    if (!plan) told.Position = {kNotObserved, kNotObserved, 0.1};
    records.PosSigmas.assign(4, told);
    const BlockProblem block = records.Make();
    EXPECT_EQ(block.Task.vStrips[0].bGpsConstant, plan);
    EXPECT_EQ(block.Task.vStrips[0].bGpsLinear, plan);
    EXPECT_TRUE(block.Task.vStrips[0].bImuLinear);
    EXPECT_EQ(block.Task.vCameras[0].bLeverArm, plan);
  }
}

TEST(BlockProblem, PositionAndAttitudeMakeAnImageUnknownWithoutRays) {
  RecordBlock records;
  records.Observe(2, 0, 0);
  records.Limits.Apply_GPS_Data = records.Limits.Apply_IMU_Data = true;
  const ImageModel model = records.Make().Task.vImages[2];
  EXPECT_TRUE(model.bUnknown);
  EXPECT_EQ(model.ImuObserved, RotationOfAngles({0.02, 0.02, 2.8}));
  EXPECT_NEAR(model.ImuSigma[0], 0.05 * kDegree, 1e-3 * kDegree);
  EXPECT_NEAR(model.ImuSigma[2], 0.1 * kDegree, 1e-3 * kDegree);
  EXPECT_FALSE(records.Make().Task.vCameras[0].bBoresight);
  records.Rigorous.Boresight = MountingForm::Estimate;
  EXPECT_TRUE(records.Make().Task.vCameras[0].bBoresight);
}

}  // namespace
}  // namespace orvo::rigorous
