// Weights from standard deviations, and back.
#include "settings/SettingWeights.h"

#include <gtest/gtest.h>

namespace orvo::test {
namespace {

TEST(SettingWeights, OfTheExampleInTheDocumentation) {
  // GPS good to 1.7 m in a block of 400 m, measurements to 0.75 pixels.
  const WeightUnits units{0.75, 0.001, 1000.0 / 400};
  EXPECT_NEAR(GpsWeightOf(1.7, units), 3.1e-8, 0.05e-8);
}

TEST(SettingWeights, BothWays) {
  for (const double pixel : {0.1, 0.5, 2.0}) {
    for (const double scale : {1e-3, 0.37, 250.0}) {
      for (const double sigma : {0.001, 0.02, 3.0}) {
        const WeightUnits units{pixel, 0.001, scale};
        const double weight = GpsWeightOf(sigma, units);
        // The ratio of two variances in the units of the run.
        EXPECT_NEAR(weight * (sigma * scale) * (sigma * scale), pixel * 0.001 * pixel * 0.001,
                    1e-12 * pixel * pixel * 1e-6);
        EXPECT_NEAR(GpsSigmaOf(weight, units), sigma, 1e-9 * sigma);
        const ControlUnits control{pixel, 0.05 * scale, 7};
        EXPECT_NEAR(ControlSigmaOf(ControlWeightOf(sigma, control), control), sigma, 1e-6 * sigma);
      }
    }
  }
}

TEST(SettingWeights, OfControl) {
  // One pixel on the ground is 0.1; the rays of a point hold it to the variance of their mean and its own.
  const ControlUnits units{0.5, 0.1, 4};
  EXPECT_EQ(ControlWeightOf(0, units), 1);
  const double weight = ControlWeightOf(0.1, units);
  EXPECT_NEAR(0.25 / weight / 4, 0.25 / 4 + 1, 1e-12);
  EXPECT_LT(ControlWeightOf(1, units), weight);
}

}  // namespace
}  // namespace orvo::test
