// Wrong control points: found as a whole, before their rays or the block pay for them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "rigorous/RobustAdjust.h"
#include "rigorous/TruthBlock.h"

namespace orvo::rigorous::test {
namespace {

TruthOptions NineControlPoints(uint64_t seed) {
  TruthOptions options;
  options.nSeed = seed;
  options.nStrips = 5;
  options.nImages = 12;
  options.nCrossStrips = 1;
  options.fPointsPerImage = 200;
  options.nControl = 9;
  return options;
}

double CentreError(const Estimate& estimate, const Estimate& truth) {
  double squares = 0;
  for (size_t i = 0; i < estimate.vPoses.size(); ++i) {
    const double d = Norm(estimate.vPoses[i].Centre - truth.vPoses[i].Centre);
    squares += d * d;
  }
  return std::sqrt(squares / static_cast<double>(estimate.vPoses.size()));
}

struct Fault {
  size_t nControl = 0;
  Vector3 Shift{};
};

/// A pixel is 0.028 m, and control good to 0.01 m.
struct FaultCase {
  const char* szName;
  std::vector<Fault> vFaults;
  bool bExchanged = false;  ///< the first two of them
  bool bHeld = false;       ///< control has no standard deviation
  double fOutliers = 0;     ///< of the rays, by 50 pixels
};

void PrintTo(const FaultCase& fault, std::ostream* out) { *out << fault.szName; }

class WrongControl : public ::testing::TestWithParam<FaultCase> {
 protected:
  void Spoil(const FaultCase& fault, Problem& problem) {
    for (const Fault& one : fault.vFaults) {
      ControlObservation& control = problem.vControl[one.nControl];
      control.Observed = control.Observed + one.Shift;
      Planted.insert(control.nPoint);
    }
    if (fault.bExchanged) {
      std::swap(problem.vControl[fault.vFaults[0].nControl].Observed,
                problem.vControl[fault.vFaults[1].nControl].Observed);
    }
  }
  std::set<int64_t> Planted;
};

TEST_P(WrongControl, IsSetAsideAndNothingElse) {
  for (uint64_t seed = 1; seed <= 3; ++seed) {
    TruthOptions options = NineControlPoints(seed);
    options.fGrossShare = GetParam().fOutliers;
    TruthBlock block = MakeTruthBlock(options);
    if (GetParam().bHeld) {
      for (ControlObservation& control : block.Given.vControl) control.Sigma = {};
    }
    Problem clean = block.Given;
    Estimate expected = block.Start, estimate = block.Start;
    const RobustResult without = AdjustRobustly(clean, {}, expected);
    EXPECT_TRUE(without.vControlOut.empty()) << seed;
    Planted.clear();
    Spoil(GetParam(), block.Given);
    const RobustResult result = AdjustRobustly(block.Given, {}, estimate);
    std::set<int64_t> found;
    for (const OutControl& out : result.vControlOut) {
      found.insert(out.nPoint);
      EXPECT_GT(out.fW, 3.29);
      EXPECT_TRUE(std::isfinite(out.fW));
    }
    EXPECT_EQ(Planted, found) << seed;
    EXPECT_FALSE(result.bControlContradictory);
    EXPECT_EQ(AdjustEnd::Converged, result.Last.End);
    EXPECT_LE(std::ssize(result.vIterations), 24);
    EXPECT_NEAR(without.Last.fSigma0, result.Last.fSigma0, 0.01);
    EXPECT_LE(result.vOut.size(), without.vOut.size() + 3);
    EXPECT_LT(CentreError(estimate, block.Truth), 1.5 * CentreError(expected, block.Truth) + 0.01);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, WrongControl,
    ::testing::Values(FaultCase{"Exchanged", {{2, {}}, {6, {}}}, true},
                      FaultCase{"OffInX", {{4, {1.4, 0, 0}}}}, FaultCase{"OffInZ", {{4, {0, 0, 1.4}}}},
                      FaultCase{"OffInZAtTheRim", {{0, {0, 0, -1.4}}}},
                      FaultCase{"OffByADecimetre", {{5, {0, 0.14, 0.14}}}},
                      FaultCase{"TwoOff", {{1, {0, 0, 1.1}}, {7, {0.8, 0, 0}}}},
                      FaultCase{"Kilometres", {{3, {5000, 0, 0}}}},
                      FaultCase{"OffInZAndHeld", {{4, {0, 0, 1.4}}}, false, true},
                      FaultCase{"OffInXAndHeld", {{8, {1.4, 0, 0}}}, false, true},
                      FaultCase{"OffInZAmongOutliers", {{4, {0, 0, 1.4}}}, false, false, 0.02}),
    [](const ::testing::TestParamInfo<FaultCase>& test) { return std::string(test.param.szName); });

TEST(ControlSearch, NamesAWrongRayOfAControlPointAndNotThePoint) {
  for (const size_t at : {0U, 4U, 8U}) {
    TruthBlock block = MakeTruthBlock(NineControlPoints(1));
    const int64_t ray = block.Given.vFirstRay[static_cast<size_t>(block.Given.vControl[at].nPoint)] + 1;
    block.Given.vRays[static_cast<size_t>(ray)].x += 200;
    Estimate estimate = block.Start;
    const RobustResult result = AdjustRobustly(block.Given, {}, estimate);
    EXPECT_TRUE(result.vControlOut.empty()) << at;
    const auto worst = std::ranges::max_element(result.vOut, {}, &OutRay::fW);
    ASSERT_NE(worst, result.vOut.end());
    EXPECT_EQ(ray, worst->nRay);
    EXPECT_NEAR(200, worst->Residual[0], 3);
  }
}

TEST(ControlSearch, KeepsControlThatIsWorseThanStatedThroughout) {
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    TruthOptions options = NineControlPoints(seed);
    options.nControl = 20;
    options.ControlSigma = {0.04, 0.04, 0.04};
    TruthBlock block = MakeTruthBlock(options);
    for (ControlObservation& control : block.Given.vControl) control.Sigma = {0.01, 0.01, 0.01};
    Estimate estimate = block.Start;
    const RobustResult result = AdjustRobustly(block.Given, {}, estimate);
    EXPECT_TRUE(result.vControlOut.empty()) << seed;
    EXPECT_FALSE(result.bControlContradictory);
    EXPECT_EQ(AdjustEnd::Converged, result.Last.End);
  }
}

TEST(ControlSearch, TakesPointsOnTwoRaysOfARoughStartForSound) {
  for (uint64_t seed = 1; seed <= 10; ++seed) {
    TruthOptions options = NineControlPoints(seed);
    options.fForwardOverlap = 0.6;
    options.fSideOverlap = 0.3;
    options.fStartCentre = 2;
    TruthBlock block = MakeTruthBlock(options);
    Estimate plain = block.Start, estimate = block.Start;
    const AdjustResult expected = Adjust(block.Given, {}, plain);
    const RobustResult result = AdjustRobustly(block.Given, {}, estimate);
    EXPECT_TRUE(result.vControlOut.empty()) << seed;
    EXPECT_LE(result.vIterations.size(), expected.vIterations.size() + 2) << seed;
  }
}

TEST(ControlSearch, SaysSoWhereNoPartOfTheControlAgrees) {
  TruthBlock block = MakeTruthBlock(NineControlPoints(1));
  for (size_t i = 0; i < 5; ++i) {
    const double shift = 1.0 + 0.4 * static_cast<double>(i);
    block.Given.vControl[i].Observed[2] += i % 2 == 0 ? shift : -shift;
    block.Given.vControl[i].Observed[0] += i % 3 == 0 ? shift : -shift;
  }
  Estimate estimate = block.Start;
  const RobustResult result = AdjustRobustly(block.Given, {}, estimate);
  EXPECT_TRUE(result.bControlContradictory);
  EXPECT_LT(result.vControlOut.size(), 5U);
}

TEST(ControlSearch, CanNotTellWithTooFewPoints) {
  TruthOptions options = NineControlPoints(1);
  options.nControl = 3;
  TruthBlock block = MakeTruthBlock(options);
  block.Given.vControl[1].Observed[2] += 1.4;
  Estimate estimate = block.Start;
  EXPECT_TRUE(AdjustRobustly(block.Given, {}, estimate).vControlOut.empty());
}

TEST(ControlSearch, IsTheSameOnAnyNumberOfThreads) {
  const TruthBlock block = MakeTruthBlock(NineControlPoints(2));
  Estimate first;
  for (const int32_t threads : {1, 2, 4}) {
    Problem problem = block.Given;
    problem.vControl[4].Observed[2] += 1.4;
    Estimate estimate = block.Start;
    RobustOptions options;
    options.Steps.nThreads = threads;
    ASSERT_EQ(1U, AdjustRobustly(problem, options, estimate).vControlOut.size());
    if (threads == 1) first = estimate;
    EXPECT_EQ(first.vPoints, estimate.vPoints);
  }
}

}  // namespace
}  // namespace orvo::rigorous::test
