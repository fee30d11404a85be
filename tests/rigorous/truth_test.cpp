// What the adjustment says of its own precision, against the truth of generated blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "rigorous/LongTests.h"
#include "rigorous/TruthScores.h"

namespace orvo::rigorous::test {
namespace {

using O = TruthOptions;

struct Case {
  const char* szName;
  std::function<void(O&)> Change;
  int nSeeds = 20;       ///< with ORVO_LONG_TESTS
  int nShortSeeds = 10;  ///< else; 0: none
};

/// Scores of many seeds together.
class ManyScores {
 public:
  void Add(const TruthScores& scores, int seed) {
    SCOPED_TRACE(seed);
    EXPECT_LT(std::abs(scores.fJoint), 4);
    EXPECT_LT(std::abs(scores.fSquares), 4);
    EXPECT_LT(std::abs(scores.fIntersection), 4);
    EXPECT_LT(scores.fLargestT, 4);
    EXPECT_LT(scores.fLargestDriftT, 5) << "there are dozens in a block";
    EXPECT_NEAR(1, scores.fRedundancies, 1e-9);
    vScores.push_back(scores);
    if (AreLongTestsWanted()) Print(scores, seed);
  }

  void Check() const {
    const auto seeds = static_cast<double>(vScores.size());
    EXPECT_LT(std::abs(Mean(&TruthScores::fJoint)), 3 / std::sqrt(seeds));
    EXPECT_LT(std::abs(Mean(&TruthScores::fSquares)), 3 / std::sqrt(seeds));
    EXPECT_LT(std::abs(Mean(&TruthScores::fIntersection)), 3 / std::sqrt(seeds));
    double tests = 0, rejected = 0;
    for (const TruthScores& one : vScores) {
      tests += static_cast<double>(one.nTests);
      rejected += static_cast<double>(one.nRejected);
    }
    EXPECT_NEAR(1e-3, rejected / tests, std::max(4 * std::sqrt(1e-3 / tests), 2e-4));
    CheckPoints();
  }

 private:
  double Mean(double TruthScores::*figure) const {
    double sum = 0;
    for (const TruthScores& one : vScores) sum += one.*figure;
    return sum / static_cast<double>(vScores.size());
  }

  /// All points of a block share the errors of its datum and camera, so that the spread of the seeds tells
  /// how far their mean may be off, not the number of points.
  void CheckPoints() const {
    const double mean = Mean(&TruthScores::fPoints);
    if (vScores.size() < 10 || mean == 0) return;
    double squares = 0;
    for (const TruthScores& one : vScores) squares += std::pow(one.fPoints - mean, 2);
    const auto seeds = static_cast<double>(vScores.size());
    EXPECT_NEAR(1, mean, 4 * std::sqrt(squares / (seeds - 1) / seeds));
    EXPECT_NEAR(1, mean, 0.35);
  }

  static void Print(const TruthScores& scores, int seed) {
    std::printf("seed %d: joint %.2f squares %.2f intersection %.2f points %.4f t %.2f w %.4f %%\n", seed,
                scores.fJoint, scores.fSquares, scores.fIntersection, scores.fPoints, scores.fLargestT,
                100.0 * static_cast<double>(scores.nRejected) / static_cast<double>(scores.nTests));
  }

  std::vector<TruthScores> vScores;
};

class Truth : public ::testing::TestWithParam<Case> {};

TEST_P(Truth, LiesWhereTheStandardDeviationsSay) {
  const int seeds = AreLongTestsWanted() ? GetParam().nSeeds : GetParam().nShortSeeds;
  if (seeds == 0) GTEST_SKIP() << "takes ORVO_LONG_TESTS=1";
  ManyScores many;
  for (int seed = 1; seed <= seeds; ++seed) {
    O options;
    options.nSeed = static_cast<uint64_t>(seed);
    GetParam().Change(options);
    many.Add(ScoresOf(MakeTruthBlock(options), 2), seed);
  }
  many.Check();
}

INSTANTIATE_TEST_SUITE_P(
    All, Truth,
    ::testing::Values(Case{"Control", [](O& o) { o.nControl = 6; }},
                      Case{"HeldCamera", [](O& o) { o.nControl = 4, o.nLensUnknowns = 0; }},
                      Case{"UnequalControl",
                           [](O& o) {
                             o.nControl = 5, o.nHeightControl = 6;
                             o.ControlSigma = {0.02, 0.05, 0.01};
                           }},
                      Case{"HeightControl",
                           [](O& o) {
                             o.nControl = 3, o.nHeightControl = 9;
                             o.ControlSigma = {0.1, 0.1, 0.01};
                           }},
                      Case{"Gps",
                           [](O& o) {
                             o.GpsSigma = {0.03, 0.03, 0.05};
                           }},
                      Case{"FullLens",
                           [](O& o) {
                             o.nControl = 6, o.nCrossStrips = 1;
                             o.nLensTerms = o.nLensUnknowns = kLensAll;
                           }},
                      Case{"CameraOfEachStrip",
                           [](O& o) { o.nControl = 9, o.Cameras = TruthCameras::EachStrip; }},
                      Case{"HeldCameraOfEachImage",
                           [](O& o) {
                             o.nControl = 6, o.Cameras = TruthCameras::EachImage;
                             o.nLensUnknowns = 0;
                           }},
                      Case{"Drift",
                           [](O& o) {
                             o.nControl = 6, o.nCrossStrips = 1;
                             o.GpsSigma = {0.03, 0.03, 0.05};
                             o.fGpsConstant = 1, o.fGpsLinear = 0.3;
                           }},
                      Case{"DriftOfAngles",
                           [](O& o) {
                             o.nControl = 6, o.nCrossStrips = 1;
                             o.ImuSigma = {1e-4, 1e-4, 2e-4};
                             o.fImuConstant = 5e-3, o.fImuLinear = 1e-3;
                           }},
                      Case{"LeverArm",
                           [](O& o) {
                             o.nControl = 6, o.nCrossStrips = 1;
                             o.GpsSigma = {0.03, 0.03, 0.05};
                             o.LeverArm = {0.3, -0.2, 0.5}, o.bLeverArm = true;
                           }},
                      Case{"Boresight",
                           [](O& o) {
                             o.nControl = 6;
                             o.ImuSigma = {1e-4, 1e-4, 2e-4};
                             o.Boresight = {0.01, -0.02, 0.03}, o.bBoresight = true;
                           }},
                      Case{"Free", [](O& o) { o.nLensUnknowns = 0; }}),
    [](const ::testing::TestParamInfo<Case>& test) { return std::string(test.param.szName); });

INSTANTIATE_TEST_SUITE_P(Sizes, Truth,
                         ::testing::Values(Case{"Images100",
                                                [](O& o) {
                                                  o.nStrips = o.nImages = 10;
                                                  o.nControl = 9;
                                                },
                                                20, 4},
                                           Case{"Images1000",
                                                [](O& o) {
                                                  o.nStrips = 20, o.nImages = 50;
                                                  o.nControl = 25;
                                                  o.GpsSigma = {0.05, 0.05, 0.1};
                                                },
                                                5, 1},
                                           Case{"Images10000",
                                                [](O& o) {
                                                  o.nStrips = o.nImages = 100;
                                                  o.nControl = 64;
                                                  o.GpsSigma = {0.05, 0.05, 0.1};
                                                },
                                                1, 0}),
                         [](const ::testing::TestParamInfo<Case>& test) {
                           return std::string(test.param.szName);
                         });

}  // namespace
}  // namespace orvo::rigorous::test
