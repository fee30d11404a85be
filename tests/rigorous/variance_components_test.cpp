#include "rigorous/VarianceComponents.h"

#include <gtest/gtest.h>

#include <cmath>

#include "rigorous/AdjustedBlock.h"
#include "rigorous/VarianceEstimation.h"

namespace orvo::rigorous::test {
namespace {

constexpr size_t kGroupNum = 6;

/// With observations of all groups, two cameras, and priors of a drift.
TruthBlock AnyBlock(uint64_t seed = 1) {
  TruthOptions options;
  options.nSeed = seed;
  options.nStrips = 2;
  options.nImages = 10;
  options.fPointsPerImage = 60;
  options.Cameras = TruthCameras::EachStrip;
  options.nControl = 16;
  options.ControlSigma = {0.02, 0.02, 0.03};
  options.GpsSigma = {0.05, 0.05, 0.1};
  options.ImuSigma = {1e-3, 1e-3, 2e-3};
  options.fGpsConstant = 0.1;
  TruthBlock block = MakeTruthBlock(options);
  for (StripModel& strip : block.Given.vStrips) strip.GpsConstantSigma = {0.1, 0.1, 0.1};
  return block;
}

std::vector<VarianceComponent> ComponentsOf(const AdjustedBlock& block, int32_t threads = 1) {
  return VarianceComponentsOf(block.Block.Given, block.Plan(), block.Steps->Chunks(), block.At,
                              block.Cofactors(), threads);
}

TEST(VarianceComponents, HaveTheSumsOfTheAdjustmentTogether) {
  const AdjustedBlock block(AnyBlock());
  ASSERT_TRUE(block.Covariance.Covariance);
  const std::vector<VarianceComponent> components = ComponentsOf(block);
  ASSERT_EQ(2 + kGroupNum, components.size());
  VarianceComponent sum;
  for (const VarianceComponent& one : components) {
    sum.nObservations += one.nObservations;
    sum.fSquares += one.fSquares;
    sum.fRedundancy += one.fRedundancy;
    EXPECT_GT(one.fRedundancy, 0);
    EXPECT_LE(one.fRedundancy, static_cast<double>(one.nObservations));
  }
  const auto redundancy = static_cast<double>(block.Result.Redundancy());
  EXPECT_EQ(block.Result.nObservations, sum.nObservations);
  EXPECT_NEAR(redundancy, sum.fRedundancy, 1e-9 * redundancy);
  // The points make one more step at the end.
  EXPECT_NEAR(block.Result.fSquares, sum.fSquares, 1e-6 * sum.fSquares);
}

TEST(VarianceComponents, CountTheirOwnObservations) {
  const AdjustedBlock block(AnyBlock());
  ASSERT_TRUE(block.Covariance.Covariance);
  const std::vector<VarianceComponent> components = ComponentsOf(block);
  const auto rays = 2 * std::ssize(block.Block.Given.vRays);
  EXPECT_EQ(rays, components[0].nObservations + components[1].nObservations);
  const struct {
    VarianceGroup Group;
    int64_t nObservations;
  } expected[kGroupNum] = {{VarianceGroup::ControlXY, 32}, {VarianceGroup::ControlZ, 16},
                           {VarianceGroup::GpsXY, 40},     {VarianceGroup::GpsZ, 20},
                           {VarianceGroup::Imu, 60},       {VarianceGroup::Priors, 6}};
  for (size_t k = 0; k < kGroupNum; ++k) {
    EXPECT_EQ(expected[k].Group, components[2 + k].Group);
    EXPECT_EQ(expected[k].nObservations, components[2 + k].nObservations) << k;
    EXPECT_EQ(-1, components[2 + k].nCamera);
  }
  EXPECT_EQ(0, components[0].nCamera);
  EXPECT_EQ(1, components[1].nCamera);
  EXPECT_FALSE(components.back().IsKnown());
  EXPECT_EQ(1, components.back().Factor());
  EXPECT_TRUE(std::isinf(components.back().Deviation()));
}

TEST(VarianceComponents, AreOneWhereDeviationsAreStatedRightly) {
  double sum[2 + kGroupNum]{}, variance[2 + kGroupNum]{};
  constexpr int kSeeds = 10;
  for (uint64_t seed = 1; seed <= kSeeds; ++seed) {
    const AdjustedBlock block(AnyBlock(seed));
    ASSERT_TRUE(block.Covariance.Covariance);
    const std::vector<VarianceComponent> components = ComponentsOf(block);
    for (size_t k = 0; k < components.size(); ++k) {
      if (!components[k].IsKnown()) continue;
      sum[k] += components[k].Factor() - 1;
      variance[k] += components[k].Deviation() * components[k].Deviation();
    }
  }
  for (size_t k = 0; k + 1 < std::size(sum); ++k)
    EXPECT_LT(std::abs(sum[k]), 3.5 * std::sqrt(variance[k])) << k;
}

TEST(VarianceComponents, AreTheSameOnAnyNumberOfThreads) {
  const AdjustedBlock block(AnyBlock());
  ASSERT_TRUE(block.Covariance.Covariance);
  const std::vector<VarianceComponent> one = ComponentsOf(block), four = ComponentsOf(block, 4);
  for (size_t k = 0; k < one.size(); ++k) {
    EXPECT_EQ(one[k].fSquares, four[k].fSquares);
    EXPECT_EQ(one[k].fRedundancy, four[k].fRedundancy);
  }
}

/// Against what is right, in the order of the components.
constexpr double kStated[2 + kGroupNum] = {2, 0.4, 5, 0.3, 0.25, 4, 3, 1};

TEST(VarianceEstimation, FindsTheRightDeviations) {
  TruthBlock block = AnyBlock();
  const TruthBlock right = block;
  ScaleDeviations({std::begin(kStated), std::end(kStated)}, block.Given);
  EXPECT_EQ(2 * right.Given.vCameras[0].fSigma, block.Given.vCameras[0].fSigma);
  Estimate at = block.Start;
  const VarianceEstimation made = EstimateVariances(block.Given, {}, {}, at);
  EXPECT_EQ(VarianceEnd::Settled, made.End);
  ASSERT_EQ(std::size(kStated), made.vScales.size());
  for (size_t k = 0; k + 1 < std::size(kStated); ++k) {
    const VarianceComponent& one = made.vComponents[k];
    EXPECT_NEAR(1, one.Factor(), 0.03) << k;
    EXPECT_NEAR(1, kStated[k] * made.vScales[k], 4 * 0.5 * one.Deviation()) << k;
  }
  EXPECT_EQ(1, made.vScales.back());
  EXPECT_NEAR(1, made.Last.fSigma0, 0.02);
  EXPECT_DOUBLE_EQ(kStated[5] * made.vScales[5] * right.Given.vImages[3].GpsSigma[2],
                   block.Given.vImages[3].GpsSigma[2]);
  EXPECT_EQ(right.Given.vStrips[0].GpsConstantSigma, block.Given.vStrips[0].GpsConstantSigma);
}

TEST(VarianceEstimation, LeavesHeldAndUnobservedValues) {
  TruthOptions options;
  options.nStrips = 2;
  options.nControl = 6;
  options.ControlSigma = {0, 0, 0};
  TruthBlock block = MakeTruthBlock(options);
  block.Given.vCameras[0].fSigma *= 3;
  Estimate at = block.Start;
  const VarianceEstimation made = EstimateVariances(block.Given, {}, {}, at);
  EXPECT_EQ(VarianceEnd::Settled, made.End);
  EXPECT_NEAR(1, 3 * made.vScales[0], 0.05);
  for (const ControlObservation& control : block.Given.vControl) EXPECT_EQ(Vector3{}, control.Sigma);
  EXPECT_EQ(kNotObserved3, block.Given.vImages[0].GpsSigma);
  for (size_t k = 1; k < made.vScales.size(); ++k) EXPECT_EQ(1, made.vScales[k]);
}

TEST(VarianceEstimation, GoesNoFurtherThanItMay) {
  TruthBlock block = AnyBlock();
  block.Given.vCameras[0].fSigma *= 100;
  Estimate at = block.Start;
  VarianceEstimationLimits limits;
  limits.fMost = 5;
  const VarianceEstimation made = EstimateVariances(block.Given, {}, limits, at);
  EXPECT_DOUBLE_EQ(0.2, made.vScales[0]);
  limits.nRounds = 1;
  at = block.Start;
  EXPECT_EQ(VarianceEnd::Rounds, EstimateVariances(block.Given, {}, limits, at).End);
}

TEST(VarianceEstimation, SaysWhyThereIsNone) {
  TruthBlock block = AnyBlock();
  for (ImageModel& image : block.Given.vImages) image.ImuSigma = kNotObserved3;
  for (CameraModel& camera : block.Given.vCameras) camera.bBoresight = true;
  Estimate at = block.Start;
  EXPECT_EQ(VarianceEnd::NoPrecision, EstimateVariances(block.Given, {}, {}, at).End);
  at = block.Start;
  const VarianceEstimation cancelled =
      EstimateVariances(block.Given, {}, {}, at, [](const AdjustIteration&) { return false; });
  EXPECT_EQ(VarianceEnd::NotAdjusted, cancelled.End);
  EXPECT_EQ(AdjustEnd::Cancelled, cancelled.Last.End);
}

}  // namespace
}  // namespace orvo::rigorous::test
