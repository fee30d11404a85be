#include "rigorous/DatumObservations.h"

#include <gtest/gtest.h>

namespace orvo::rigorous::test {
namespace {

constexpr Vector3 kGps = {0.1, 0.1, 0.2}, kImu = {1e-4, 1e-4, 2e-4}, kControl = {0, 0.02, 0.03};

TEST(DatumObservations, AreLeftToOneKind) {
  const struct {
    DatumChoice Choice;
    Vector3 Gps, Imu, Control;
  } cases[] = {
      {DatumChoice::Auto, kGps, kImu, kControl},
      {DatumChoice::Control, kNotObserved3, kImu, kControl},
      {DatumChoice::Gps, kGps, kImu, kNotObserved3},
      {DatumChoice::Inner, kNotObserved3, kNotObserved3, kNotObserved3},
  };
  for (const auto& each : cases) {
    Problem problem;
    problem.vImages.resize(2);
    for (ImageModel& image : problem.vImages) image.GpsSigma = kGps, image.ImuSigma = kImu;
    problem.vControl = {{3, {1, 2, 3}, kControl}};
    LeaveDatumTo(each.Choice, problem);
    for (const ImageModel& image : problem.vImages) {
      EXPECT_EQ(image.GpsSigma, each.Gps);
      EXPECT_EQ(image.ImuSigma, each.Imu);
    }
    EXPECT_EQ(problem.vControl[0].Sigma, each.Control);
    EXPECT_EQ(problem.vControl[0].Observed, (Vector3{1, 2, 3}));
  }
}

}  // namespace
}  // namespace orvo::rigorous::test
