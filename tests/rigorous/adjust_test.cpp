#include "rigorous/Adjust.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "rigorous/TruthBlock.h"

namespace orvo::rigorous::test {
namespace {

using O = TruthOptions;

struct Case {
  const char* szName;
  std::function<void(O&)> Change;
  int32_t nDefect;
  int32_t nAccepted;  ///< iterations at most
};

O OptionsOf(const Case& block) {
  O options;
  block.Change(options);
  return options;
}

double RedundancyZ(const AdjustResult& result) {
  const auto redundancy = static_cast<double>(result.Redundancy());
  return (result.fSquares - redundancy) / std::sqrt(2 * redundancy);
}

double CentreError(const TruthBlock& block, const Estimate& estimate) {
  double squares = 0;
  for (size_t i = 0; i < estimate.vPoses.size(); ++i) {
    const double error = Norm(estimate.vPoses[i].Centre - block.Truth.vPoses[i].Centre);
    squares += error * error;
  }
  return std::sqrt(squares / static_cast<double>(estimate.vPoses.size()));
}

class AdjustOfBlocks : public ::testing::TestWithParam<Case> {};

TEST_P(AdjustOfBlocks, ReachTheMinimumThatTheirNoiseAllows) {
  const TruthBlock block = MakeTruthBlock(OptionsOf(GetParam()));
  Estimate estimate = block.Start;
  const AdjustResult result = Adjust(block.Given, {}, estimate);
  EXPECT_EQ(AdjustEnd::Converged, result.End);
  EXPECT_LE(std::ssize(result.vIterations), GetParam().nAccepted);
  for (const AdjustIteration& line : result.vIterations) EXPECT_TRUE(line.bAccepted) << line.nIteration;
  EXPECT_EQ(GetParam().nDefect, result.nDatumDefect);
  EXPECT_LT(std::abs(RedundancyZ(result)), 4) << "sigma0 " << result.fSigma0;
  EXPECT_LT(result.vIterations.back().fStep, 0.01);
}

TEST_P(AdjustOfBlocks, HaveOneMinimumFromAnyStartAndByAnySolver) {
  O options = OptionsOf(GetParam());
  const TruthBlock block = MakeTruthBlock(options);
  AdjustOptions steps;
  steps.fStop = 1e-4;
  Estimate one = block.Start, other = block.Truth;
  const double direct = Adjust(block.Given, steps, one).fCost;
  steps.Solver = SolverChoice::Iterative;
  EXPECT_NEAR(direct, Adjust(block.Given, steps, other).fCost, 1e-8 * direct);
}

TEST_P(AdjustOfBlocks, AreTheSameOnAnyNumberOfThreads) {
  const TruthBlock block = MakeTruthBlock(OptionsOf(GetParam()));
  for (const SolverChoice solver : {SolverChoice::Direct, SolverChoice::Iterative}) {
    AdjustOptions steps;
    steps.Solver = solver;
    Estimate one = block.Start;
    const double cost = Adjust(block.Given, steps, one).fCost;
    for (const int32_t threads : {2, 4}) {
      steps.nThreads = threads;
      Estimate other = block.Start;
      EXPECT_EQ(cost, Adjust(block.Given, steps, other).fCost);
      for (size_t i = 0; i < one.vPoses.size(); ++i) {
        EXPECT_EQ(one.vPoses[i].Centre, other.vPoses[i].Centre);
        EXPECT_EQ(one.vPoses[i].R, other.vPoses[i].R);
      }
      EXPECT_EQ(one.vPoints, other.vPoints);
    }
  }
}

void WithGps(O& o) { o.GpsSigma = {0.05, 0.05, 0.08}; }
void WithControl(O& o) { o.nControl = 6; }

INSTANTIATE_TEST_SUITE_P(
    All, AdjustOfBlocks,
    ::testing::Values(
        Case{"Free", [](O&) {}, 7, 6}, Case{"Control", WithControl, 0, 5}, Case{"Gps", WithGps, 0, 5},
        Case{"HeldControl",
             [](O& o) {
               WithControl(o), o.ControlSigma = {0, 0, 0};
             },
             0, 5},
        Case{"HeightControl", [](O& o) { o.nControl = 3, o.nHeightControl = 5; }, 0, 6},
        Case{"UnequalControl",
             [](O& o) {
               WithControl(o), o.ControlSigma = {0.02, 0.02, 0.2};
             },
             0, 5},
        Case{"HeldCamera", [](O& o) { WithControl(o), o.nLensUnknowns = 0; }, 0, 5},
        Case{"AllTerms", [](O& o) { WithGps(o), o.nLensTerms = o.nLensUnknowns = kLensAll; }, 0, 6},
        Case{"CameraOfEachStrip", [](O& o) { WithGps(o), o.Cameras = TruthCameras::EachStrip; }, 0, 5},
        Case{"CameraOfEachImage",
             [](O& o) {
               WithGps(o), o.Cameras = TruthCameras::EachImage;
               o.nLensUnknowns = kLensFocal;
             },
             0, 5},
        Case{"HeldImages", [](O& o) { o.nHeldImages = 3; }, 0, 6},
        Case{"Imu",
             [](O& o) {
               WithGps(o), o.ImuSigma = {1e-3, 1e-3, 2e-3};
             },
             0, 5},
        Case{"Drift",
             [](O& o) {
               WithGps(o), WithControl(o);
               o.nCrossStrips = 2, o.fGpsConstant = 0.3, o.fGpsLinear = 0.1;
             },
             0, 6},
        Case{"LeverArmAndBoresight",
             [](O& o) {
               WithGps(o), WithControl(o);
               o.ImuSigma = {1e-3, 1e-3, 2e-3}, o.LeverArm = {0.1, -0.2, 0.3},
               o.Boresight = {0.01, 0.02, -0.01};
               o.bLeverArm = o.bBoresight = true;
             },
             0, 6},
        Case{"Corrected", [](O& o) { WithControl(o), o.Form = ResidualForm::Corrected; }, 0, 5}),
    [](const ::testing::TestParamInfo<Case>& test) { return std::string(test.param.szName); });

TEST(Adjust, OfMeasurementsWithoutNoiseFindsTheTruth) {
  O options;
  options.fNoise = 0;
  options.nControl = 6;
  options.ControlSigma = {0, 0, 0};
  const TruthBlock block = MakeTruthBlock(options);
  Estimate estimate = block.Start;
  AdjustOptions steps;
  steps.fStop = 1e-6;
  const AdjustResult result = Adjust(block.Given, steps, estimate);
  // Measurements are single precision, some 1e-4 pixels.
  EXPECT_LT(result.fSigma0, 2e-4);
  EXPECT_LT(CentreError(block, estimate), 1e-4);
  EXPECT_NEAR(block.Truth.vCameras[0].LensNow.f, estimate.vCameras[0].LensNow.f, 5e-3);
}

TEST(Adjust, LeavesHeldValuesBitByBit) {
  O options;
  options.nHeldImages = 4;
  options.nLensUnknowns = 0;
  const TruthBlock block = MakeTruthBlock(options);
  Estimate estimate = block.Start;
  Adjust(block.Given, {}, estimate);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(block.Start.vPoses[i].Centre, estimate.vPoses[i].Centre);
    EXPECT_EQ(block.Start.vPoses[i].R, estimate.vPoses[i].R);
  }
  EXPECT_EQ(block.Start.vCameras[0].LensNow.f, estimate.vCameras[0].LensNow.f);
  EXPECT_NE(block.Start.vPoses[4].Centre, estimate.vPoses[4].Centre);
}

TEST(Adjust, WithEverythingHeldIntersectsThePoints) {
  O options;
  options.nHeldImages = options.nStrips * options.nImages;
  options.nLensUnknowns = 0;
  const TruthBlock block = MakeTruthBlock(options);
  Estimate estimate = block.Truth;
  estimate.vPoints = block.Start.vPoints;
  const AdjustResult result = Adjust(block.Given, {}, estimate);
  EXPECT_EQ(AdjustEnd::Converged, result.End);
  EXPECT_LT(std::abs(RedundancyZ(result)), 4);
}

struct Broken {
  const char* szName;
  std::function<void(TruthBlock&)> Break;
  AdjustEnd Expected;
};

class BrokenProblems : public ::testing::TestWithParam<Broken> {};

TEST_P(BrokenProblems, EndWithAWord) {
  O options;
  options.nStrips = 2;
  options.nImages = 3;
  TruthBlock block = MakeTruthBlock(options);
  GetParam().Break(block);
  Estimate estimate = block.Start;
  EXPECT_EQ(GetParam().Expected, Adjust(block.Given, {}, estimate).End);
}

INSTANTIATE_TEST_SUITE_P(All, BrokenProblems,
                         ::testing::Values(Broken{"NoRays",
                                                  [](TruthBlock& b) {
                                                    for (Ray& ray : b.Given.vRays) ray.nImage = -1;
                                                  },
                                                  AdjustEnd::NoRedundancy},
                                           Broken{"AFewRays",
                                                  [](TruthBlock& b) {
                                                    for (size_t i = 12; i < b.Given.vRays.size(); ++i)
                                                      b.Given.vRays[i].nImage = -1;
                                                  },
                                                  AdjustEnd::NoRedundancy},
                                           Broken{"NoPoints",
                                                  [](TruthBlock& b) {
                                                    b.Given.vRays.clear(), b.Given.vFirstRay = {0},
                                                                           b.Start.vPoints.clear();
                                                  },
                                                  AdjustEnd::NoRedundancy},
                                           Broken{"CentresOfNoNumbers",
                                                  [](TruthBlock& b) {
                                                    for (ImagePose& pose : b.Start.vPoses)
                                                      pose.Centre[0] =
                                                          std::numeric_limits<double>::quiet_NaN();
                                                  },
                                                  AdjustEnd::NoRedundancy}),
                         [](const ::testing::TestParamInfo<Broken>& test) {
                           return std::string(test.param.szName);
                         });

TEST(Adjust, EndsWhereTheObserverSaysSo) {
  const TruthBlock block = MakeTruthBlock({});
  Estimate estimate = block.Start;
  const AdjustResult result =
      Adjust(block.Given, {}, estimate, [](const AdjustIteration& line) { return line.nIteration < 2; });
  EXPECT_EQ(AdjustEnd::Cancelled, result.End);
  EXPECT_EQ(2, std::ssize(result.vIterations));
}

TEST(Adjust, EndsAtItsLimit) {
  const TruthBlock block = MakeTruthBlock({});
  AdjustOptions steps;
  steps.nMaxIterations = 2;
  Estimate estimate = block.Start;
  EXPECT_EQ(AdjustEnd::Limit, Adjust(block.Given, steps, estimate).End);
}

}  // namespace
}  // namespace orvo::rigorous::test
