// What a similarity transform rests on.
#include "verdict/FrameFigures.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvo::test {
namespace {

TEST(WidthOverLength, OfLinesAndPlanes) {
  const std::vector<Position> line = {{0, 0, 0}, {1, 2, 3}, {2, 4, 6}, {5, 10, 15}};
  const std::vector<Position> square = {{0, 0, 5}, {0, 1, 5}, {1, 0, 5}, {1, 1, 5}};
  const std::vector<Position> strip = {{0, 0, 0}, {100, 1, 0}, {200, -1, 0}, {300, 0, 0}};
  EXPECT_NEAR(WidthOverLength(line), 0, 1e-6);
  EXPECT_NEAR(WidthOverLength(square), 1, 1e-6);
  EXPECT_NEAR(WidthOverLength(strip), 0.0060, 1e-4);
  EXPECT_EQ(WidthOverLength(std::span(line).first(2)), 0);
}

TEST(ViewOf, MeanOfTheAxes) {
  std::vector<EopRecord> images(4);
  for (int i = 0; i < 4; ++i) images[static_cast<size_t>(i)].fKappa = i;
  EXPECT_NEAR(ViewOf(images).Up[2], 1, 1e-12);
  EXPECT_NEAR(ViewOf(images).fAgreement, 1, 1e-12);
  for (EopRecord& image : images) image.fOmega = 0.5;
  EXPECT_NEAR(AngleBetween(ViewOf(images).Up, {0, 0, 1}), 0.5 * 180 / M_PI, 1e-9);
  images[0].fOmega = images[1].fOmega = -0.5;
  EXPECT_NEAR(ViewOf(images).fAgreement, std::cos(0.5), 1e-9);
}

class Misfits : public ::testing::Test {
 protected:
  Misfits() {
    for (int i = 0; i < 7; ++i) {
      const Position p = {100.0 * i * i, 300.0 * (i % 3) + 10 * i, 5.0 * (i % 2)};
      Source.push_back(p);
      // Turned by 90 degrees about Z, twice as large, shifted.
      Target.push_back({-2 * p[1] + 10, 2 * p[0] - 20, 2 * p[2] + 30});
    }
  }
  std::vector<Position> Source, Target;
};

TEST_F(Misfits, NoneWherePointsFit) {
  for (const double misfit : RobustMisfits(Source, Target)) EXPECT_NEAR(misfit, 0, 1e-6);
}

TEST_F(Misfits, NameTheExchangedOnes) {
  std::swap(Target[2], Target[5]);
  const auto misfits = RobustMisfits(Source, Target);
  ASSERT_EQ(misfits.size(), 7u);
  for (size_t i = 0; i < 7; ++i) {
    if (i == 2 || i == 5) {
      EXPECT_GT(misfits[i], 1000) << i;
    } else {
      EXPECT_NEAR(misfits[i], 0, 1e-6) << i;
    }
  }
}

TEST_F(Misfits, SayNothingOfFour) {
  EXPECT_TRUE(RobustMisfits(std::span(Source).first(4), std::span(Target).first(4)).empty());
}

}  // namespace
}  // namespace orvo::test
