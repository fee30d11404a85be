#include "rigorous/RobustAdjust.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "rigorous/ResidualSpread.h"
#include "rigorous/TruthScores.h"

namespace orvo::rigorous::test {
namespace {

struct GrossCase {
  const char* szName;
  double fShare, fPixels;
  uint64_t nSeed;
  double fFalse = 0.002;  ///< of the rays, at most
};

TruthOptions OptionsOf(const GrossCase& gross) {
  TruthOptions options;
  options.nSeed = gross.nSeed;
  options.nStrips = 5;
  options.nImages = 12;
  options.fPointsPerImage = 200;
  options.nControl = 6;
  options.fGrossShare = gross.fShare;
  options.fGrossPixels = gross.fPixels;
  return options;
}

int64_t FoundOf(const std::vector<int64_t>& gross, const std::vector<OutRay>& out) {
  return std::ranges::count_if(
      gross, [&out](int64_t ray) { return std::ranges::binary_search(out, ray, {}, &OutRay::nRay); });
}

/// e'Se of images and camera at the result, as a standard normal value.
double JointScore(const TruthBlock& block, Estimate result) {
  Adjuster steps(block.Given, {});
  ReducedEquations& equations = steps.EquationsAt(result);
  const std::vector<double> errors = ErrorsOf(block, steps.Plan(), result);
  return NormalOf(QuadraticForm(equations.N, errors), static_cast<double>(steps.Plan().UnknownNum()));
}

class GrossErrors : public ::testing::TestWithParam<GrossCase> {};

TEST_P(GrossErrors, AreFoundAndLeaveTheResultAlone) {
  TruthBlock block = MakeTruthBlock(OptionsOf(GetParam()));
  Estimate estimate = block.Start;
  const double rays = static_cast<double>(block.Given.vRays.size());
  const RobustResult result = AdjustRobustly(block.Given, {}, estimate);
  EXPECT_EQ(AdjustEnd::Converged, result.Last.End);
  EXPECT_LE(std::ssize(result.vIterations), 20);
  EXPECT_NEAR(1, result.Last.fSigma0, 0.03);
  EXPECT_LT(std::abs(JointScore(block, estimate)), 4);
  const int64_t found = FoundOf(block.vGrossRays, result.vOut);
  EXPECT_GE(static_cast<double>(found), 0.99 * static_cast<double>(block.vGrossRays.size()));
  EXPECT_LE(static_cast<double>(std::ssize(result.vOut) - found), GetParam().fFalse * rays);
  for (const OutRay& out : result.vOut) {
    EXPECT_EQ(-1, block.Given.vRays[static_cast<size_t>(out.nRay)].nImage);
    EXPECT_GE(out.nImage, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, GrossErrors,
    ::testing::Values(GrossCase{"HalfPercent", 0.005, 50, 1}, GrossCase{"TwoPercent", 0.02, 50, 2},
                      GrossCase{"FivePercent", 0.05, 50, 3, 0.003}, GrossCase{"TwoPercentSmall", 0.02, 10, 4},
                      GrossCase{"TwoPercentHuge", 0.02, 1000, 5},
                      GrossCase{"TwoPercentHugeAgain", 0.02, 1000, 15},
                      GrossCase{"FivePercentLarge", 0.05, 300, 16, 0.003},
                      GrossCase{"FivePercentHuge", 0.05, 1000, 7, 0.003}),
    [](const ::testing::TestParamInfo<GrossCase>& test) { return std::string(test.param.szName); });

TEST(RobustAdjust, OfACleanBlockIsPlainLeastSquares) {
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    TruthBlock block = MakeTruthBlock(OptionsOf({"", 0, 0, seed}));
    Estimate plain = block.Start, robust = block.Start;
    const AdjustResult expected = Adjust(block.Given, {}, plain);
    const RobustResult result = AdjustRobustly(block.Given, {}, robust);
    EXPECT_TRUE(result.vOut.empty()) << seed;
    EXPECT_FALSE(result.bGraduated) << seed;
    EXPECT_NEAR(expected.fCost, result.Last.fCost, 1e-6 * expected.fCost);
  }
}

TEST(RobustAdjust, PointsSeenTwiceDoNotLookGross) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    TruthOptions options = {.nSeed = seed, .nStrips = 1, .nImages = 2, .nLensUnknowns = 0};
    options.fStartCentre = options.fStartDegrees = 0.1;
    TruthBlock block = MakeTruthBlock(options);
    Estimate estimate = block.Start;
    const RobustResult result = AdjustRobustly(block.Given, {}, estimate);
    EXPECT_FALSE(result.bGraduated) << seed;
    EXPECT_LE(result.vOut.size(), 1) << seed;
  }
}

TEST(RobustAdjust, TakesAFewLargeErrorsOutOfACleanBlock) {
  TruthBlock block = MakeTruthBlock(OptionsOf({"", 0, 0, 9}));
  const std::vector<int64_t> spoilt = {100, 2500, 7001};
  for (const int64_t ray : spoilt) block.Given.vRays[static_cast<size_t>(ray)].x += 12;
  Estimate estimate = block.Start;
  const RobustResult result = AdjustRobustly(block.Given, {}, estimate);
  EXPECT_EQ(3, FoundOf(spoilt, result.vOut));
  EXPECT_LE(std::ssize(result.vOut), 4);
}

TEST(RobustAdjust, WithoutRobustnessLeavesEverythingIn) {
  TruthBlock block = MakeTruthBlock(OptionsOf({"", 0.02, 50, 2}));
  Estimate estimate = block.Start;
  RobustOptions options;
  options.Form = RobustForm::None;
  const RobustResult result = AdjustRobustly(block.Given, options, estimate);
  EXPECT_TRUE(result.vOut.empty());
  EXPECT_GT(result.Last.fSigma0, 3);
}

TEST(RobustAdjust, ByHuberAndWelschKeepsAllAndIsNearerToTheTruth) {
  const TruthBlock block = MakeTruthBlock(OptionsOf({"", 0.02, 50, 2}));
  const auto error = [&block](const Estimate& estimate) {
    double squares = 0;
    for (size_t i = 0; i < estimate.vPoses.size(); ++i) {
      const double d = Norm(estimate.vPoses[i].Centre - block.Truth.vPoses[i].Centre);
      squares += d * d;
    }
    return std::sqrt(squares);
  };
  const auto errorBy = [&](RobustForm form) {
    TruthBlock copy = block;
    Estimate estimate = block.Start;
    RobustOptions options;
    options.Form = form;
    EXPECT_TRUE(AdjustRobustly(copy.Given, options, estimate).vOut.empty());
    return error(estimate);
  };
  const double none = errorBy(RobustForm::None);
  EXPECT_LT(errorBy(RobustForm::Huber), 0.5 * none);
  EXPECT_LT(errorBy(RobustForm::Welsch), 0.3 * none);
  Estimate graduated = block.Start;
  TruthBlock copy = block;
  AdjustRobustly(copy.Given, {}, graduated);
  EXPECT_LT(error(graduated), 0.3 * none);
}

TEST(RobustAdjust, IsTheSameOnAnyNumberOfThreads) {
  const TruthBlock block = MakeTruthBlock(OptionsOf({"", 0.02, 50, 2}));
  RobustOptions options;
  TruthBlock one = block;
  Estimate expected = block.Start;
  const RobustResult result = AdjustRobustly(one.Given, options, expected);
  for (const int32_t threads : {2, 4}) {
    options.Steps.nThreads = threads;
    TruthBlock copy = block;
    Estimate estimate = block.Start;
    const RobustResult other = AdjustRobustly(copy.Given, options, estimate);
    EXPECT_EQ(result.Last.fCost, other.Last.fCost);
    EXPECT_EQ(result.vOut.size(), other.vOut.size());
    EXPECT_EQ(expected.vPoints, estimate.vPoints);
  }
}

TEST(ResidualSpread, HasTheMedianAndTheRootMeanSquareOfItsLengths) {
  ResidualSpread spread;
  EXPECT_EQ(0, spread.Quantile(0.5));
  EXPECT_EQ(0, spread.RootMeanSquare());
  for (int32_t i = 1; i <= 1001; ++i) spread.Add(i * 0.001);
  EXPECT_NEAR(0.501, spread.Quantile(0.5), 0.02);
  EXPECT_NEAR(0.901, spread.Quantile(0.9), 0.04);
  EXPECT_NEAR(std::sqrt(1001.5 * 1001 * 2003 / 6 / 1001.5 / 1e6 * 1002 / 1001), spread.RootMeanSquare(),
              1e-3);
  EXPECT_FALSE(LooksGross(spread));
  for (int32_t i = 0; i < 10; ++i) spread.Add(20);
  EXPECT_TRUE(LooksGross(spread));
}

TEST(ResidualSpread, TakesLengthsThatAreTinyHugeOrNone) {
  ResidualSpread spread;
  spread.Add(0);
  spread.Add(1e-300);
  spread.Add(1e300);
  EXPECT_EQ(3, spread.Num());
  EXPECT_LE(spread.Quantile(0.3), 2 * ResidualSpread::kSmallest);
  EXPECT_GT(spread.Quantile(1), 1e4);
}

}  // namespace
}  // namespace orvo::rigorous::test
