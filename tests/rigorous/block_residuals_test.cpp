#include "rigorous/BlockResiduals.h"

#include <gtest/gtest.h>

#include <cmath>

#include "rigorous/PointChunks.h"
#include "rigorous/RecordBlock.h"

namespace orvo::rigorous {
namespace {

using test::RecordBlock;

/// All points in sight, measured 0.25 and 0.5 off where they are predicted.
RecordBlock Measured() {
  RecordBlock records;
  records.AddPoint("b", 0, {2, 1});
  records.AddPoint("a", 0, {0, 1, 2});
  const BlockProblem block = records.Make();
  for (size_t i = 0; i < block.vPoint.size(); ++i) {
    for (int64_t ray = block.Task.vFirstRay[i]; ray < block.Task.vFirstRay[i + 1]; ++ray) {
      Vector2 predicted{};
      const ImagePose& pose = block.Start.vPoses[block.Task.vRays[ray].nImage];
      EXPECT_EQ(PredictMeasured(pose, block.Start.vCameras[0].LensNow, block.Start.vPoints[i], predicted),
                RayStatus::Good);
      ImagePointRecord& record = records.Points.pImagePoints[block.vMeasurement[ray]];
      record.x = static_cast<float>(predicted[0] + 0.25);
      record.y = static_cast<float>(predicted[1] - 0.5);
    }
  }
  return records;
}

TEST(BlockResiduals, SumsAreOfMeasuredLessPredicted) {
  const RecordBlock records = Measured();
  const BlockProblem block = records.Make();
  for (const int threads : {1, 3}) {
    const RayResidualSums sums = SumRayResiduals(block.Task, block.Start, threads);
    EXPECT_EQ(sums.nUsed, 5);
    EXPECT_EQ(sums.nLeftOut, 0);
    EXPECT_NEAR(sums.fSumX, 5 * 0.25, 1e-5);
    EXPECT_NEAR(sums.fSumY, 5 * -0.5, 1e-5);
    EXPECT_NEAR(sums.fSquaresX, 5 * 0.0625, 1e-5);
    EXPECT_NEAR(sums.fSquaresY, 5 * 0.25, 1e-5);
  }
}

/// Where the points come to stand, with or without losses.
TEST(BlockResiduals, SumsOfAPassAreTheSame) {
  const RecordBlock records = Measured();
  for (const LossForm form : {LossForm::None, LossForm::Welsch}) {
    for (const int64_t out : {-1, 0, 4}) {
      BlockProblem block = records.Make();
      if (out >= 0) block.Task.vRays[static_cast<size_t>(out)].nImage = -1;
      Estimate at = block.Start;
      PointPassOptions options;
      options.Loss = {form, 0.1};
      const PointPassSums pass = StepPoints(block.Task, ChunksOf(block.Task), options, at);
      const RayResidualSums made = SumsOfPass(pass, std::ssize(block.Task.vRays)),
                            expected = SumRayResiduals(block.Task, at, 1);
      EXPECT_GE(made.nUsed, 3);
      // Of a point that one ray is left of, nothing is in an equation.
      const int64_t single = expected.nUsed - made.nUsed;
      EXPECT_EQ(single, out == 4 ? 1 : 0) << out;
      EXPECT_EQ(made.nUsed + made.nLeftOut, 5);
      if (single != 0) continue;
      EXPECT_NEAR(made.fSumX, expected.fSumX, 1e-12);
      EXPECT_NEAR(made.fSumY, expected.fSumY, 1e-12);
      EXPECT_NEAR(made.fSquaresX, expected.fSquaresX, 1e-12);
      EXPECT_NEAR(made.fSquaresY, expected.fSquaresY, 1e-12);
    }
  }
}

TEST(BlockResiduals, WhatIsLeftOutIsListedWithItsResidual) {
  const RecordBlock records = Measured();
  BlockProblem block = records.Make();
  ASSERT_EQ(block.vMeasurement[0], 2);
  block.Task.vRays[0].nImage = -1;
  EXPECT_EQ(SumRayResiduals(block.Task, block.Start, 1).nUsed, 4);
  EXPECT_EQ(SumRayResiduals(block.Task, block.Start, 1).nLeftOut, 1);
  const ScratchVector<RayResidual> all = RayResidualsOf(block, block.Start, records.Points);
  ASSERT_EQ(all.size(), 5u);
  for (size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(all[i].nMeasurement, static_cast<int64_t>(i));
    EXPECT_EQ(all[i].bLeftOut, i == 2) << i;
    EXPECT_NEAR(all[i].Residual[0], 0.25, 1e-5) << i;
  }
}

TEST(BlockResiduals, APointBehindItsCameraHasNoResidual) {
  const RecordBlock records = Measured();
  BlockProblem block = records.Make();
  block.Start.vPoints[0][2] += 2000;
  EXPECT_EQ(SumRayResiduals(block.Task, block.Start, 1).nUsed, 2);
  const ScratchVector<RayResidual> all = RayResidualsOf(block, block.Start, records.Points);
  EXPECT_TRUE(all[2].bLeftOut);
  EXPECT_EQ(all[2].Residual, Vector2{});
  EXPECT_FALSE(all[0].bLeftOut);
}

}  // namespace
}  // namespace orvo::rigorous
