// Points that are badly determined, or badly given.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "rigorous/PointBuilders.h"
#include "rigorous/PointPass.h"

namespace orvo::rigorous {
namespace {

using test::Block;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN(), kInf = kNotObserved;

/// Images at (0, 0, 100), (30, 0, 100), (60, 0, 100) that look straight down, one camera, f = 5, no points.
Block ThreeImages() {
  Block block;
  block.Of.vCameras.resize(1);
  block.Of.vCameras[0].fSigma = 0.5 * test::kPixelSize;
  block.Of.vCameras[0].nLensUnknowns = kLensFocal;
  block.Of.vImages.resize(3);
  block.Start.vCameras.resize(1);
  block.Start.vCameras[0].LensNow.f = 5;
  for (int i = 0; i < 3; ++i) block.Start.vPoses.push_back({{30.0 * i, 0, 100}, kIdentity3});
  return block;
}

/// Measured in `images` where it is `truth`, and given at `start`.
void AddPoint(Block& block, const Vector3& truth, const Vector3& start, const std::vector<int32_t>& images) {
  for (const int32_t i : images) {
    Vector2 m{};
    EXPECT_EQ(PredictMeasured(block.Start.vPoses[i], block.Start.vCameras[0].LensNow, truth, m),
              RayStatus::Good);
    block.Of.vRays.push_back({i, static_cast<float>(m[0]), static_cast<float>(m[1])});
  }
  block.Of.vFirstRay.push_back(std::ssize(block.Of.vRays));
  block.Start.vPoints.push_back(start);
}

struct Outcome {
  PointPassSums Sums;
  bool bFinite = true, bZero = true;  ///< all of N and n
};

/// `block` is stepped; the equations come from a pass from the same start.
Outcome StepAndPass(Block& block, int32_t steps, bool intersects) {
  PointPassOptions options;
  options.nPointSteps = steps;
  options.bIntersect = intersects;
  Block copy = block;
  Outcome outcome;
  outcome.Sums = StepPoints(block.Of, ChunksOf(block.Of), options, block.Start);
  const UnknownPlan plan = test::PlanByHand(block.Of);
  const sparse::NodePattern pattern = PatternOf(block.Of, plan);
  ReducedEquations equations(pattern);
  const PointPassSums sums = PassPoints(block.Of, plan, ChunksOf(block.Of), options, copy.Start, equations);
  EXPECT_EQ(sums.fCost, outcome.Sums.fCost);
  EXPECT_EQ(sums.nPointUnknowns, outcome.Sums.nPointUnknowns);
  const auto look = [&outcome](std::span<const double> values) {
    for (const double a : values) {
      outcome.bFinite = outcome.bFinite && std::isfinite(a);
      outcome.bZero = outcome.bZero && a == 0;
    }
  };
  look(equations.n);
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    look(equations.N.Diagonal(i));
    for (int64_t k = 0; k < std::ssize(pattern.NeighboursBehind(i)); ++k) look(equations.N.Behind(i, k));
  }
  return outcome;
}

Outcome SettleAndPass(Block& block, bool intersects) {
  for (int i = 0; i < 10; ++i) StepAndPass(block, 5, intersects);
  return StepAndPass(block, 5, intersects);
}

struct Case {
  const char* What;
  Vector3 Start;
  std::vector<int32_t> Images;
  bool bIntersect;
  bool bReached;  ///< the point ends at its truth, (20, 10, 5)
  int64_t nRays, nUnseen, nUnknowns, nWeak;
};

constexpr Vector3 kTruth = {20, 10, 5};

void ExpectCase(const Case& row) {
  SCOPED_TRACE(row.What);
  Block block = ThreeImages();
  AddPoint(block, kTruth, row.Start, row.Images);
  const Outcome outcome = SettleAndPass(block, row.bIntersect);
  EXPECT_TRUE(outcome.bFinite);
  EXPECT_EQ(outcome.bZero, row.nRays == 0);
  const Vector3& point = block.Start.vPoints[0];
  if (row.bReached) {
    EXPECT_LE(Norm(point - kTruth), 1e-3);
    EXPECT_LE(outcome.Sums.fCost, 1e-3);
  } else {
    for (int k = 0; k < 3; ++k) {
      EXPECT_TRUE(point[k] == row.Start[k] || (std::isnan(point[k]) && std::isnan(row.Start[k]))) << k;
    }
    EXPECT_EQ(outcome.Sums.fCost, static_cast<double>(row.nUnseen) * kUnseenCost);
  }
  EXPECT_EQ(outcome.Sums.nRays, row.nRays);
  EXPECT_EQ(outcome.Sums.nUnseen, row.nUnseen);
  EXPECT_EQ(outcome.Sums.nPointUnknowns, row.nUnknowns);
  EXPECT_EQ(outcome.Sums.nWeakPoints, row.nWeak);
}

TEST(PointPassCases, PointsWithoutControl) {
  const Vector3 nowhere = {kNan, 1, 2}, behind = {20, 10, 300};
  const Case table[] = {
      {"near", {21, 9, 3}, {0, 1, 2}, false, true, 3, 0, 3, 0},
      {"far off", {-300, 200, -400}, {0, 1, 2}, false, true, 3, 0, 3, 0},
      {"far off, intersected", {-3e4, 2e4, -4e4}, {0, 1, 2}, true, true, 3, 0, 3, 0},
      {"behind", behind, {0, 1, 2}, false, true, 3, 0, 3, 0},
      {"not finite", nowhere, {0, 1}, false, true, 2, 0, 3, 0},
      {"infinite", {1, kInf, 2}, {2, 0}, true, true, 2, 0, 3, 0},
      {"an image twice", {21, 9, 3}, {0, 1, 1, 0}, false, true, 4, 0, 3, 0},
      {"one ray", {21, 9, 3}, {1}, true, false, 0, 0, 0, 0},
      {"one ray, behind", behind, {1}, true, false, 0, 1, 0, 0},
      {"one ray, not finite", nowhere, {1}, true, false, 0, 1, 0, 0},
      {"the same ray twice", kTruth, {1, 1}, true, true, 2, 0, 2, 1},
      {"no rays", {21, 9, 3}, {}, true, false, 0, 0, 0, 0},
      {"no rays, not finite", nowhere, {}, true, false, 0, 0, 0, 0},
  };
  for (const Case& row : table) ExpectCase(row);
}

TEST(PointPassCases, ControlDecidesWhatRaysDont) {
  const struct {
    const char* What;
    Vector3 Start, Sigma;
    std::vector<int32_t> Images;
    Vector3 Expected;
    int64_t nUnknowns, nControl, nWeak;
  } table[] = {
      {"held", {1, 2, 3}, {0, 0, 0}, {0, 1}, kTruth, 0, 0, 0},
      {"held without rays", {1, 2, kNan}, {0, 0, 0}, {}, kTruth, 0, 0, 0},
      {"held in one ray", {1, 2, 3}, {0, 0, 0}, {1}, kTruth, 0, 0, 0},
      {"observed without rays", {1, 2, 3}, {0.1, 0.1, 0.1}, {}, kTruth, 3, 3, 0},
      {"height alone", {1, 2, 3}, {kInf, kInf, 0.1}, {}, {1, 2, 5}, 1, 1, 2},
      {"height and one ray", {21, 12, 3}, {kInf, kInf, 0.1}, {2}, kTruth, 3, 1, 0},
      {"held height and one ray", {21, 12, 3}, {kInf, kInf, 0}, {2}, kTruth, 2, 0, 0},
      {"held height, one ray and no place", {kNan, 12, 3}, {kInf, kInf, 0}, {2}, kTruth, 2, 0, 0},
      {"plan and two rays", {1, 2, 3}, {0.1, 0.1, kInf}, {0, 1}, kTruth, 3, 2, 0},
      {"plan and no place", {kNan, kNan, 3}, {0.1, 0.1, kInf}, {}, {20, 10, 3}, 2, 2, 1},
      {"no standard deviations", {21, 12, 3}, {kNan, -1, kInf}, {0, 1}, kTruth, 3, 0, 0},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.What);
    Block block = ThreeImages();
    AddPoint(block, kTruth, row.Start, row.Images);
    block.Of.vControl.push_back({0, kTruth, row.Sigma});
    const Outcome outcome = SettleAndPass(block, false);
    EXPECT_TRUE(outcome.bFinite);
    const double tolerance = row.nUnknowns == 0 ? 0 : 1e-3;
    EXPECT_LE(test::Distance(block.Start.vPoints[0], row.Expected), tolerance);
    EXPECT_LE(outcome.Sums.fCost, 1e-3);
    EXPECT_EQ(outcome.Sums.nRays, std::ssize(row.Images));
    EXPECT_EQ(outcome.Sums.nPointUnknowns, row.nUnknowns);
    EXPECT_EQ(outcome.Sums.nControlObservations, row.nControl);
    EXPECT_EQ(outcome.Sums.nWeakPoints, row.nWeak > 0);
  }
}

TEST(PointPassCases, WhatIsNotFiniteIsUnseen) {
  Block block = ThreeImages();
  AddPoint(block, kTruth, kTruth, {0, 1, 2});
  AddPoint(block, kTruth, kTruth, {0, 1});
  block.Of.vRays[0].x = static_cast<float>(kNan);
  block.Of.vControl.push_back({1, {kNan, 10, 5}, {0.1, 0.1, 0.1}});
  const Outcome outcome = StepAndPass(block, 3, true);
  EXPECT_TRUE(outcome.bFinite);
  EXPECT_EQ(outcome.Sums.nRays, 4);
  EXPECT_EQ(outcome.Sums.nUnseen, 1);
  EXPECT_EQ(outcome.Sums.nControlObservations, 2);
  EXPECT_LE(std::fabs(outcome.Sums.fCost - kUnseenCost), 1e-3);

  for (ImagePose& pose : block.Start.vPoses) pose.Centre[2] = kNan;
  const Outcome lost = StepAndPass(block, 3, true);
  EXPECT_TRUE(lost.bFinite);
  EXPECT_EQ(lost.Sums.nRays, 0);
  EXPECT_EQ(lost.Sums.nUnseen, 5);
}

TEST(PointPassCases, NearlyParallelRaysTakeNoWeakStep) {
  // From a base of a millionth of the depth, rays that meet at no place.
  for (const double base : {0.0, 1e-7, 1e-5, 1e-4}) {
    SCOPED_TRACE(base);
    Block block = ThreeImages();
    block.Start.vPoses[1].Centre = {base, 0, 100};
    AddPoint(block, kTruth, {20.01, 10, 5}, {0, 1});
    block.Of.vRays[0].x += static_cast<float>(0.3 * test::kPixelSize);
    const double before = StepAndPass(block, 0, false).Sums.fCost;
    for (const bool intersects : {false, true}) {
      Block stepped = block;
      const Outcome outcome = StepAndPass(stepped, 5, intersects);
      EXPECT_TRUE(outcome.bFinite);
      EXPECT_LE(outcome.Sums.fCost, before);
      EXPECT_TRUE(std::isfinite(Norm(stepped.Start.vPoints[0])));
      EXPECT_EQ(outcome.Sums.nUnseen, 0);
      if (base < 1e-4) {
        EXPECT_EQ(outcome.Sums.nWeakPoints, 1);
        EXPECT_EQ(outcome.Sums.nPointUnknowns, 2);
        EXPECT_EQ(stepped.Start.vPoints[0][2], 5);
      }
    }
  }
}

TEST(PointPassCases, NeverTakesARayOutOfSight) {
  // From far below, the full step goes behind the cameras; measurements this good make that the lower cost.
  Block block = ThreeImages();
  block.Of.vCameras[0].fSigma = 1e-5;
  for (int i = 0; i < 40; ++i) AddPoint(block, kTruth, {20, 10, -200.0 - 50 * i}, {0, 1, 2});
  const Outcome before = StepAndPass(block, 0, false);
  EXPECT_EQ(before.Sums.nUnseen, 0);
  double cost = before.Sums.fCost;
  EXPECT_GT(cost, 120 * kUnseenCost);
  for (int i = 0; i < 30; ++i) {
    const Outcome outcome = StepAndPass(block, 1, false);
    EXPECT_EQ(outcome.Sums.nUnseen, 0);
    EXPECT_LE(outcome.Sums.fCost, cost);
    cost = outcome.Sums.fCost;
  }
  EXPECT_LE(cost, 1e-2);
}

}  // namespace
}  // namespace orvo::rigorous
