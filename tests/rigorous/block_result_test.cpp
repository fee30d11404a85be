#include "rigorous/BlockResult.h"

#include <gtest/gtest.h>

#include <cstring>

#include "rigorous/PosModel.h"
#include "rigorous/RecordBlock.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

using test::kEast;
using test::kNorth;
using test::RecordBlock;

bool SameBits(const auto& a, const auto& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// Points seen from the first three images; the second of these is held.
RecordBlock Seen() {
  RecordBlock records;
  for (int i = 0; i < 4; ++i) records.AddPoint("tie", 0, {2, 1, 0});
  records.AddPoint("control", 1, {0, 1});
  records.AddPoint("check", 2, {0, 1});
  records.Images.pEop[1].nStatus = 1;
  return records;
}

TEST(BlockResult, UnknownsComeBackInUnitsOfTheRecords) {
  RecordBlock records = Seen();
  const RecordBlock before = records;
  const BlockProblem block = records.Make();
  Estimate estimate = block.Start;
  for (ImagePose& pose : estimate.vPoses) {
    pose.Centre = pose.Centre + Vector3{1, 2, 3};
    pose.R = RotationOfAngles({-0.1, 0.2, 3});
  }
  estimate.vCameras[0].LensNow = {4, 0.1, 0.2, 1e-3, 1e-5};
  StorePoses(block, estimate, records.Images);
  StoreCameras(block, estimate, records.Cameras);
  const EopRecord& moved = records.Images.pEop[2];
  EXPECT_NEAR(moved.X, kEast + 200 + 1, 1e-9);
  EXPECT_NEAR(moved.Y, kNorth + 2, 1e-9);
  EXPECT_NEAR(moved.Z, 500 + 3, 1e-12);
  EXPECT_NEAR(moved.fPhi, -0.1, 1e-15);
  EXPECT_NEAR(moved.fOmega, 0.2, 1e-15);
  EXPECT_NEAR(moved.fKappa, 3, 1e-15);
  for (const size_t held : {1, 3})
    EXPECT_TRUE(SameBits(records.Images.pEop[held], before.Images.pEop[held])) << held;
  const IopRecord& iop = records.Cameras.pIop[0];
  EXPECT_EQ(iop.fFocal, 4);
  EXPECT_EQ(iop.fPrincipalY, 0.2);
  EXPECT_EQ(iop.fK2, 1e-5);
  EXPECT_EQ(iop.nImageWidth, 6000);
}

TEST(BlockResult, AHeldCameraStaysBitByBit) {
  RecordBlock records = Seen();
  records.Settings.Set_IOP_Unknown = false;
  const IopRecord before = records.Cameras.pIop[0];
  const BlockProblem block = records.Make();
  Estimate estimate = block.Start;
  estimate.vCameras[0].LensNow.f = 1;
  StoreCameras(block, estimate, records.Cameras);
  EXPECT_TRUE(SameBits(records.Cameras.pIop[0], before));
}

TEST(BlockResult, TieAndCheckPointsTakeTheirPlacesAndControlKeepsItsOwn) {
  RecordBlock records = Seen();
  const BlockProblem block = records.Make();
  Estimate estimate = block.Start;
  for (Vector3& point : estimate.vPoints) point = point + Vector3{0.25, 0, 0};
  StorePoints(block, estimate, records.Points);
  for (size_t place = 0; place < records.Points.pObjectPoints.size(); ++place) {
    const ObjectPointRecord& point = records.Points.pObjectPoints[place];
    EXPECT_EQ(point.X, kEast + static_cast<double>(place) + (point.nType == 1 ? 0 : 0.25)) << place;
    EXPECT_EQ(point.Z, 3.0 * static_cast<double>(place)) << place;
  }
}

TEST(BlockResult, ReducedObservationsStandBesideTheImages) {
  RecordBlock records = Seen();
  records.Rigorous.Lever_Arm = records.Rigorous.Boresight = MountingForm::Given;
  records.Rigorous.Lever_Arm_X = 0.4;
  records.Rigorous.Lever_Arm_Z = 1.5;
  records.Rigorous.Boresight_Phi = 20;
  records.Rigorous.Boresight_Kappa = 90;
  records.Observe(0, 0, 0);
  const BlockProblem block = records.Make();
  const ImagePose& pose = block.Start.vPoses[0];
  const CameraEstimate& camera = block.Start.vCameras[0];
  const Vector3 antenna = pose.Centre + block.Origin + Multiply(pose.R, camera.LeverArm);
  const Vector3 angles = AnglesOfRotation(Multiply(pose.R, camera.Boresight));
  records.Images.pPos[0] = {0, 0, antenna[0], antenna[1], antenna[2], angles[0], angles[1], angles[2]};
  ReducePos(block, block.Start, records.Images);
  const PosRecord& pos = records.Images.pPos[0];
  const EopRecord& eop = records.Images.pEop[0];
  EXPECT_NEAR(pos.X, eop.X, 1e-9);
  EXPECT_NEAR(pos.Y, eop.Y, 1e-9);
  EXPECT_NEAR(pos.Z, eop.Z, 1e-9);
  EXPECT_NEAR(pos.fPhi, eop.fPhi, 1e-14);
  EXPECT_NEAR(pos.fOmega, eop.fOmega, 1e-14);
  EXPECT_NEAR(pos.fKappa, eop.fKappa, 1e-14);
  EXPECT_EQ(records.Images.pPos[1].X, 0) << "not observed";
}

TEST(BlockResult, DriftStandsStripByStripGpsBeforeImu) {
  Estimate estimate;
  estimate.vStrips = {{{{1, 2, 3}, {4, 5, 6}}, {{7, 8, 9}, {10, 11, 12}}}, {}};
  using Values = std::vector<double>;
  EXPECT_EQ(DriftParametersOf(estimate, true, false, false), (Values{1, 2, 3, 0, 0, 0}));
  const Values all = DriftParametersOf(estimate, true, true, true);
  ASSERT_EQ(all.size(), 24u);
  EXPECT_EQ(Values(all.begin(), all.begin() + 12), (Values{1, 2, 3, 7, 8, 9, 4, 5, 6, 10, 11, 12}));
  EXPECT_EQ(DriftParametersOf(estimate, false, false, true).size(), 0u);
}

}  // namespace
}  // namespace orvo::rigorous
