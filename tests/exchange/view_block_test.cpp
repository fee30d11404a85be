// Points as their measurements have them.
#include "exchange/views/ViewBlock.h"

#include <gtest/gtest.h>

#include "exchange/VerticalBlock.h"

namespace orvo::test {
namespace {

using namespace exchange;

TEST(ViewBlock, SolvesFreePointsToTheirPlaces) {
  const SurveyBlock block = MakeVerticalBlock();
  const auto solved = StrictPointsOf(block, block.Tie);
  ASSERT_EQ(solved.size(), block.Tie.Points.size());
  int meeting = 0;
  for (size_t k = 0; k < solved.size(); ++k) {
    const SurveyPoint& truth = block.Tie.Points[k];
    EXPECT_EQ(solved[k].bSolved, truth.nMeasurementNum > 1) << k;
    if (!solved[k].bSolved) continue;
    ++meeting;
    EXPECT_EQ(solved[k].nRays, truth.nMeasurementNum);
    EXPECT_NEAR(solved[k].Rms(), 0, 1e-9);
    for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(solved[k].P[c], truth.P[c], 1e-8);
  }
  EXPECT_GT(meeting, 300);
  const StrictStatistics statistics = StatisticsOf(block, block.Tie, solved);
  EXPECT_GT(statistics.nMeasurements, 2 * meeting);
  EXPECT_NEAR(statistics.Rms[0], 0, 1e-9);
}

/// Two vertical images 200 apart, 1000 above a point halfway: its y is off by d in one image and by -d in
/// the other, which no point can take up.
TEST(ViewBlock, KeepsTheParallaxThatNoPointTakesUp) {
  VerticalLayout layout;
  layout.nStrips = 1;
  layout.nImages = 2;
  SurveyBlock block = MakeVerticalBlock(layout);
  block.Tie = {};
  ASSERT_TRUE(AddPoint(block, block.Tie, "A", {100, 0, 50}, 0));
  ASSERT_EQ(block.Tie.Measurements.size(), 2u);
  block.Tie.Measurements[0].y += 0.5;
  block.Tie.Measurements[1].y -= 0.5;
  const auto solved = StrictPointsOf(block, block.Tie);
  ASSERT_TRUE(solved[0].bSolved);
  EXPECT_NEAR(solved[0].dSquareSum, 0.5, 1e-9);
  EXPECT_NEAR(solved[0].Rms(), std::sqrt(0.5 / 4), 1e-9);
  EXPECT_NEAR(solved[0].P[0], 100, 1e-7);
  EXPECT_NEAR(solved[0].P[2], 50, 1e-6);
  const StrictStatistics statistics = StatisticsOf(block, block.Tie, solved);
  EXPECT_EQ(statistics.nMeasurements, 2);
  EXPECT_NEAR(statistics.Mean[1], 0, 1e-9);
  EXPECT_NEAR(statistics.Rms[0], 0, 1e-9);
  EXPECT_NEAR(statistics.Rms[1], 0.5, 1e-9);
}

/// What is found is no worse than anything beside it.
TEST(ViewBlock, FindTheLeastSumOfSquares) {
  SurveyBlock block = MakeVerticalBlock();
  for (size_t k = 0; k < block.Tie.Measurements.size(); ++k) {
    block.Tie.Measurements[k].x += std::sin(static_cast<double>(7 * k));
    block.Tie.Measurements[k].y += std::cos(static_cast<double>(5 * k));
  }
  const auto solved = StrictPointsOf(block, block.Tie);
  const auto sumAt = [&](size_t k, const std::array<double, 3>& P) {
    double sum = 0;
    for (const SurveyMeasurement& m : block.Tie.Of(block.Tie.Points[k])) {
      const auto v = ResidualOf(block, m, P);
      sum += v->x * v->x + v->y * v->y;
    }
    return sum;
  };
  for (size_t k = 0; k < solved.size(); ++k) {
    if (!solved[k].bSolved) continue;
    EXPECT_NEAR(sumAt(k, solved[k].P), solved[k].dSquareSum, 1e-9);
    for (size_t c = 0; c < 3; ++c) {
      for (const double step : {-1e-3, 1e-3}) {
        auto beside = solved[k].P;
        beside[c] += step;
        EXPECT_GT(sumAt(k, beside), solved[k].dSquareSum - 1e-12) << k;
      }
    }
  }
}

TEST(ViewBlock, TakeNothingThatLiesOutsideTheBlock) {
  SurveyBlock block = MakeVerticalBlock();
  const SurveyMeasurement outside[] = {{-1, 0, 0}, {9999, 0, 0}, {0, 1, 1}};
  EXPECT_FALSE(SolveStrictly(block, outside).bSolved);
  EXPECT_FALSE(ResidualOf(block, outside[0], {0, 0, 0}));
  EXPECT_FALSE(ResidualOf(block, outside[1], {0, 0, 0}));
  // Parallel rays: the same place in two vertical images.
  const SurveyMeasurement parallel[] = {{0, 5, 5}, {1, 5, 5}};
  EXPECT_FALSE(SolveStrictly(block, parallel).bSolved);
  block.Images[0].nCamera = 3;
  EXPECT_FALSE(ResidualOf(block, outside[2], {0, 0, 0}));
  block.Images[1].R[0] = std::nan("");
  const SurveyMeasurement broken[] = {{1, 5, 5}, {2, -5, 5}};
  EXPECT_FALSE(SolveStrictly(block, broken).bSolved);
}

}  // namespace
}  // namespace orvo::test
