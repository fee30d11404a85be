// Tests of single control points, and the scale that they have.
#include "rigorous/ControlTest.h"

#include <gtest/gtest.h>

#include <cmath>

#include "rigorous/NormalTest.h"
#include "rigorous/OutControl.h"

namespace orvo::rigorous::test {
namespace {

TEST(NormalTest, ProbabilitiesAreThoseOfTables) {
  EXPECT_NEAR(TwoSidedProbability(1.959964), 0.05, 1e-7);
  EXPECT_NEAR(TwoSidedProbability(3.290527), 0.001, 1e-8);
  EXPECT_NEAR(TwoSidedCritical(0.05), 1.959964, 1e-6);
  EXPECT_EQ(TwoSidedProbability(0), 1);
}

TEST(NormalTest, SumsAreScaledToTheirChiSquareLimits) {
  // 0.1 % of chi-square: 10.828, 13.816, 16.266.
  EXPECT_NEAR(AsNormal(10.828, 1, 3.290527), 3.2905, 1e-4);
  EXPECT_NEAR(AsNormal(13.816, 2, 3.290527), 3.2905, 1e-4);
  EXPECT_NEAR(AsNormal(16.266, 3, 3.290527), 3.2905, 1e-4);
  EXPECT_NEAR(AsNormal(4 * 16.266, 3, 3.290527), 2 * 3.2905, 2e-4);
  EXPECT_EQ(AsNormal(9, 3, HUGE_VAL), 3);
  EXPECT_EQ(AsNormal(9, 0, 3), 3);
}

const Matrix3 kDiagonal = {4, 0, 0, 0, 1, 0, 0, 0, 9};

TEST(ControlTest, WithinAnAdjustmentIsWhatThePlaceLeaves) {
  // 25 - 4 = 21 of X, 25 - 1 of Y; Z is held and has no misfit.
  const ControlObservation control = {0, {10, 20, 30}, {5, 5, 0}};
  const ControlMisfit misfit = MisfitWithin(control, {8, 23, 29}, kDiagonal, 2);
  EXPECT_EQ(2, misfit.nDirections);
  EXPECT_NEAR(misfit.fSquare, (4.0 / 21 + 9.0 / 24) / 2, 1e-12);
  EXPECT_EQ(misfit.Difference, (Vector3{2, -3, 0}));
}

TEST(ControlTest, OfWhatThePlaceTakesWhollyIsNone) {
  const ControlObservation control = {0, {10, 20, 30}, {2, kNotObserved, 3.0001}};
  EXPECT_EQ(0, MisfitWithin(control, {8, 23, 29}, kDiagonal, 1).nDirections);
}

TEST(ControlTest, OutsideAddsBothErrors) {
  const ControlObservation control = {0, {10, 20, 30}, {0, kNotObserved, 4}};
  const ControlMisfit misfit = MisfitOutside(control, {8, 23, 20}, kDiagonal, 1);
  EXPECT_EQ(2, misfit.nDirections);
  EXPECT_NEAR(misfit.fSquare, 4.0 / 4 + 100.0 / 25, 1e-12);
  EXPECT_EQ(misfit.Difference, (Vector3{2, 0, 10}));
}

TEST(ControlTest, PreciseDirectionsOfAPoorPlaceCount) {
  // X + Z is known to 0.01, the rest to 10.
  const Matrix3 Q = {100, 0, -99.9999, 0, 1, 0, -99.9999, 0, 100};
  const ControlObservation control = {0, {1, 0, 1}, {0, 0, 0}};
  const ControlMisfit misfit = MisfitOutside(control, {0, 0, 0}, Q, 1);
  EXPECT_EQ(3, misfit.nDirections);
  EXPECT_NEAR(misfit.fSquare, 2 / 1e-4, 1);
}

TEST(ControlTest, BrokenValuesAreNotTested) {
  const double none = std::nan("");
  const struct {
    ControlObservation Control;
    Vector3 Place;
    double fVariance;
  } cases[] = {
      {{0, {none, none, none}, {1, 1, 1}}, {0, 0, 0}, 1},
      {{0, {1, 1, 1}, {-1, none, kNotObserved}}, {0, 0, 0}, 1},
      {{0, {1, 1, 1}, {9, 9, 9}}, {none, 0, 0}, 1},
      {{0, {1, 1, 1}, {9, 9, 9}}, {0, 0, 0}, 0},
      {{0, {1, 1, 1}, {9, 9, 9}}, {0, 0, 0}, none},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(0, MisfitWithin(each.Control, each.Place, kDiagonal, each.fVariance).nDirections);
    EXPECT_EQ(0, MisfitOutside(each.Control, each.Place, kDiagonal, each.fVariance).nDirections);
  }
}

TEST(OutControl, GoesAndComesBack) {
  Problem problem;
  problem.vControl = {{1, {}, {1, 2, 3}}, {5, {}, {0, 0, kNotObserved}}, {9, {}, {4, 4, 4}}};
  std::vector<OutControl> out;
  SetAside({2, 9, {4, 4, 4}, {}, 5}, problem, out);
  SetAside({1, 5, {0, 0, kNotObserved}, {}, 6}, problem, out);
  EXPECT_FALSE(IsObserved(problem.vControl[1]));
  EXPECT_FALSE(IsObserved(problem.vControl[2]));
  EXPECT_TRUE(IsObserved(problem.vControl[0]));
  ASSERT_EQ(2U, out.size());
  EXPECT_EQ(5, out[0].nPoint);
  PutBack(0, problem, out);
  EXPECT_TRUE(IsObserved(problem.vControl[1], 0));
  EXPECT_FALSE(IsObserved(problem.vControl[1], 2));
  ASSERT_EQ(1U, out.size());
  EXPECT_EQ(9, out[0].nPoint);
}

}  // namespace
}  // namespace orvo::rigorous::test
