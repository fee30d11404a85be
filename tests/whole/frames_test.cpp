// Blocks that come in a frame of their own, and blocks that are only oriented.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/Block.h"

namespace orvo::test {
namespace {

SyntheticOptions Options() {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  options.fSideOverlap = 50;
  options.nControlPoints = 6;
  options.nCheckPoints = 6;
  options.fMeasurementsPerImage = 120;
  options.fNoise = 0.3;
  options.fStartPosition = 0.3;
  options.fStartAngle = 0.02;
  options.fStartFocal = 1;
  return options;
}

struct Frame {
  const char* szName;
  double fScale, fKappa, fShiftX, fShiftY, fShiftZ;
};

void PrintTo(const Frame& frame, std::ostream* out) { *out << frame.szName; }

class ForeignFrame : public ::testing::TestWithParam<Frame> {
 protected:
  SyntheticOptions InFrame() const {
    SyntheticOptions options = Options();
    options.fFrameScale = GetParam().fScale;
    options.fFrameKappa = GetParam().fKappa;
    options.fFrameShiftX = GetParam().fShiftX;
    options.fFrameShiftY = GetParam().fShiftY;
    options.fFrameShiftZ = GetParam().fShiftZ;
    return options;
  }
};

TEST_P(ForeignFrame, AdjustmentComesToTheControlPoints) {
  Block block(InFrame());
  const RunOutcome outcome = block.Run();
  ASSERT_TRUE(outcome.bDone) << block.Log();
  EXPECT_NE(block.Log().find("Calculate seven parameters successed!6\n"), std::string::npos);
  const Report report = block.AdjustReport();
  ASSERT_TRUE(report.bRead);
  EXPECT_LT(std::max(report.Rmse[0], report.Rmse[1]), 0.35);
  // Ground size of a pixel: 0.1 m.
  for (size_t axis = 0; axis < 3; ++axis) {
    EXPECT_LT(report.Control.Rmse[axis], 0.2);
    EXPECT_LT(report.Check.Rmse[axis], 0.4);
  }
}

TEST_P(ForeignFrame, AbsoluteOrientationAloneComesNear) {
  Block block(InFrame());
  block.Set("Absolute_Orientation", "true");
  ASSERT_TRUE(block.Run().bDone) << block.Log();
  const OrientationError error = CompareOrientations(block.Truth(), block.Result());
  // As good as the start values about their frame: 0.3 m and 0.02 degrees of noise, tied to six points.
  EXPECT_LT(error.fPosition, 5.0);
  EXPECT_LT(error.fAngle, 3e-3);
  EXPECT_GT(ReadFile(block.Output("OrvoResult.rst")).size(), 1000u);
  EXPECT_GT(ReadFile(block.Output("OrvoResult_gcp.rst")).size(), 1000u);
  EXPECT_FALSE(Exists(block.Output("Residuals_0_0.res"))) << "no iteration runs";
  const Report report = block.AdjustReport();
  ASSERT_EQ(report.Control.pPoints.size(), 6u);
  for (size_t axis = 0; axis < 3; ++axis) EXPECT_LT(report.Control.Rmse[axis], 3.0);
}

INSTANTIATE_TEST_SUITE_P(Frames, ForeignFrame,
                         ::testing::Values(Frame{"Same", 1, 0, 0, 0, 0}, Frame{"Kappa47", 1, 47, 5, -3, 1},
                                           Frame{"Kappa180", 1, 180, 0, 0, 0},
                                           Frame{"Kappa290Small", 1e-3, 290, 10, 20, 30},
                                           Frame{"Kappa133Large", 1e3, 133, 1e5, -1e5, 1e4}),
                         [](const auto& parameter) { return parameter.param.szName; });

TEST(AbsoluteOrientation, TooFewPointsEndTheRun) {
  SyntheticOptions options = Options();
  options.nControlPoints = 2;
  options.nCheckPoints = 0;
  Block block(options);
  block.Set("Absolute_Orientation", "true");
  EXPECT_FALSE(block.Run().bDone);
  EXPECT_NE(block.Log().find("Gcp number less than 3\nError! Compute Seven Parameters with GCP failed!\n"),
            std::string::npos);
  EXPECT_FALSE(Exists(block.Output("OrvoResult.ovc")));
}

TEST(AbsoluteOrientation, CheckPointsDoNotDetermineIt) {
  SyntheticOptions options = Options();
  options.nControlPoints = 2;
  options.nCheckPoints = 4;
  Block block(options);
  block.Set("Absolute_Orientation", "true");
  EXPECT_FALSE(block.Run().bDone);
  EXPECT_NE(block.Log().find("Gcp number:6\n"), std::string::npos);
  EXPECT_NE(block.Log().find("Calculate seven parameters failed!2\n"), std::string::npos);
}

}  // namespace
}  // namespace orvo::test
