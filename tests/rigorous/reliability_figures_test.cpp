// Reliability of control, tests of check points and of GPS, among the figures of the precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "rigorous/PrecisionFigures.h"
#include "rigorous/TruthBlock.h"

namespace orvo::rigorous::test {
namespace {

TruthOptions ControlledBlock() {
  TruthOptions options;
  options.nStrips = 3;
  options.nImages = 6;
  options.nControl = 6;
  options.nHeightControl = 2;
  options.GpsSigma = {0.05, 0.05, 0.08};
  return options;
}

PrecisionFigures FiguresOf(const Problem& problem, const Estimate& start, std::vector<CheckPoint> checks,
                           Estimate& at, AdjustResult& result) {
  at = start;
  result = Adjust(problem, {}, at);
  PrecisionInput input{problem, at, result};
  input.vCheckPoints = std::move(checks);
  return PrecisionFiguresOf(input);
}

TEST(ReliabilityFigures, OfControlFollowFromItsRedundancy) {
  const TruthBlock block = MakeTruthBlock(ControlledBlock());
  Estimate at;
  AdjustResult result;
  const PrecisionFigures figures = FiguresOf(block.Given, block.Start, {}, at, result);
  size_t controls = 0;
  for (const GroundPrecision& point : figures.vPoints) {
    if (point.Kind != PointKind::Control) continue;
    const ControlObservation& control = block.Given.vControl[controls++];
    ASSERT_EQ(control.nPoint, point.nPoint);
    for (size_t k = 0; k < 3; ++k) {
      if (!std::isfinite(control.Sigma[k])) {
        for (const Vector3& none : {point.Test, point.Redundancy, point.Smallest, point.Effect})
          EXPECT_TRUE(std::isnan(none[k]));
        continue;
      }
      const double r = point.Redundancy[k], sigma = control.Sigma[k] * figures.fUnit;
      EXPECT_GT(r, 0);
      EXPECT_LT(r, 1);
      // What is adjusted and what is left of an observation make up the whole of it.
      EXPECT_NEAR(point.Deviation[k] * point.Deviation[k], sigma * sigma * (1 - r), 1e-9 * sigma * sigma);
      const double v = control.Observed[k] - at.vPoints[static_cast<size_t>(point.nPoint)][k];
      EXPECT_NEAR(point.Test[k], v / (sigma * std::sqrt(r)), 1e-6);
      EXPECT_NEAR(point.Error[k], v / r, 1e-6);
      EXPECT_NEAR(point.Smallest[k], 4.13 * sigma / std::sqrt(r), 1e-9);
      EXPECT_NEAR(point.Effect[k], 4.13 * std::sqrt((1 - r) / r), 1e-9);
    }
  }
  EXPECT_EQ(8U, controls);
}

TEST(ReliabilityFigures, OfCheckPointsTakeBothErrors) {
  const TruthBlock block = MakeTruthBlock(ControlledBlock());
  const std::vector<CheckPoint> checks = {{5, block.Truth.vPoints[5], {0.02, 0.02, 0.03}},
                                          {9, block.Truth.vPoints[9], {0, 0, 0}},
                                          {12, kNoNumber3, {0, 0, 0}}};
  Estimate at;
  AdjustResult result;
  const PrecisionFigures figures = FiguresOf(block.Given, block.Start, checks, at, result);
  size_t found = 0;
  for (const GroundPrecision& point : figures.vPoints) {
    if (point.Kind != PointKind::Check) continue;
    const CheckPoint& check = checks[found++];
    for (size_t k = 0; k < 3; ++k) {
      const double d = check.Given[k] - at.vPoints[static_cast<size_t>(check.nPoint)][k];
      const double expected = d / std::hypot(point.Deviation[k], check.Sigma[k]);
      if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(point.Test[k]));
      } else {
        EXPECT_NEAR(point.Test[k], expected, 1e-9);
        EXPECT_LT(std::abs(point.Test[k]), 5);
      }
      EXPECT_TRUE(std::isnan(point.Redundancy[k]));
    }
  }
  EXPECT_EQ(3U, found);
}

TEST(ReliabilityFigures, AWrongGpsPositionIsTold) {
  TruthBlock block = MakeTruthBlock(ControlledBlock());
  Estimate at;
  AdjustResult result;
  const PrecisionFigures sound = FiguresOf(block.Given, block.Start, {}, at, result);
  EXPECT_LE(sound.vOwnTests.size(), 1U);
  block.Given.vImages[7].GpsObserved[1] += 1;
  const PrecisionFigures figures = FiguresOf(block.Given, block.Start, {}, at, result);
  ASSERT_FALSE(figures.vOwnTests.empty());
  const auto worst =
      std::ranges::max_element(figures.vOwnTests, {}, [](const OwnTest& test) { return std::abs(test.fW); });
  EXPECT_EQ(7, worst->nImage);
  EXPECT_EQ(1, worst->nComponent);
  EXPECT_EQ(OwnKind::Gps, worst->Kind);
  EXPECT_NEAR(1, worst->fError, 0.3);
}

}  // namespace
}  // namespace orvo::rigorous::test
