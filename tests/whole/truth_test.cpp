// Whole runs on generated blocks come to what went in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "support/Block.h"

namespace orvo::test {
namespace {

/// A small block whose layouts are all well determined: relief, tilted images, cross strips, control.
SyntheticOptions SmallBlock() {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  options.nCrossStrips = 2;
  options.fSideOverlap = 50;
  options.fRelief = 300;
  options.fTilt = 8;
  options.fMeasurementsPerImage = 150;
  options.fNoise = 0;
  options.nControlPoints = 3;
  options.nCheckPoints = 8;
  return options;
}

struct LastIteration {
  double fLargestResidual = 0;  ///< of all measurements, pixels
  int nGross = -1, nAll = -1;
};

/// The residual file of the last iteration that wrote one.
LastIteration ReadLastResiduals(const Block& block) {
  std::string text;
  for (int k = 0; Exists(block.Output("Residuals_" + std::to_string(k) + "_0.res")); ++k) {
    text = ReadFile(block.Output("Residuals_" + std::to_string(k) + "_0.res"));
  }
  LastIteration last;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line) && !line.empty()) {
    double x = 0, y = 0;
    std::istringstream(line) >> x >> y;
    last.fLargestResidual = std::max({last.fLargestResidual, std::abs(x), std::abs(y)});
  }
  const std::string mark = "Number of detected gross points:";
  const size_t at = text.find(mark);
  if (at != std::string::npos)
    std::sscanf(text.c_str() + at + mark.size(), "%d/%d", &last.nGross, &last.nAll);
  return last;
}

void FreeIterations(Block& block, const char* damping, const char* iterations = "60") {
  block.Set("Damping_Coefficient", damping);
  block.Set("Free_LM_Iteration_Num", iterations);
  block.Set("GCP_LM_Iteration_Num", iterations);
  block.Set("Max_LM_Iteration_Num", iterations);
  block.Set("LM_Converge_Threshold", "1e-7");
  block.Set("GCP_Accuracy", "0.01");
}

struct LayoutCase {
  const char* szName;
  bool bEop, bIop;
  int32_t nCameras;  ///< 0: one for each image
  bool bBinary;
};

void PrintTo(const LayoutCase& layout, std::ostream* out) { *out << layout.szName; }

class NoiseFreeBlock : public ::testing::TestWithParam<LayoutCase> {};

TEST_P(NoiseFreeBlock, ReturnsToTruth) {
  const LayoutCase& layout = GetParam();
  SyntheticOptions options = SmallBlock();
  options.nCameras = layout.nCameras;
  if (layout.nCameras == 0) {
    // Eleven unknowns an image amplify the rounding of the measurements; more of them average it.
    options.fMeasurementsPerImage = 500;
    options.fTilt = 10;
  }
  options.fStartPrincipal = layout.bIop ? 2 : 0;
  if (!layout.bEop) options.fStartPosition = options.fStartAngle = 0;
  if (!layout.bIop) options.fStartFocal = 0;
  Block block(options);
  if (layout.nCameras == 0) {
    // Dense merged blocks take the damping of a small diagonal element from a large one, which holds the weak
    // directions of one camera an image back unless it is next to nothing.
    FreeIterations(block, "1e-15", "400");
  } else {
    FreeIterations(block, "1e-8", "100");
  }
  block.Set("Gross_Point_Threshold", "1e6");
  block.Set("Set_EOP_Unknown", layout.bEop ? "true" : "false");
  block.Set("Set_IOP_Unknown", layout.bIop ? "true" : "false");
  BlockRun run;
  run.bBinary = layout.bBinary;
  const RunOutcome outcome = block.Run(run);
  ASSERT_TRUE(outcome.bDone) << block.Log();
  EXPECT_EQ(outcome.nOutputFailureNum, 0);

  const LastIteration last = ReadLastResiduals(block);
  EXPECT_EQ(last.nGross, 0);
  EXPECT_EQ(last.nAll, block.Truth().Counts.nTieMeasurements + block.Truth().Counts.nGroundMeasurements);
  // Measurements are held in single precision: up to 2.4e-4 pixel off at the image's edge.
  const Report report = block.AdjustReport();
  ASSERT_TRUE(report.bRead);
  EXPECT_LT(report.Rmse[0], 2.5e-4);
  EXPECT_LT(report.Rmse[1], 2.5e-4);
  EXPECT_LT(last.fLargestResidual, 2e-3);

  const OrientationError error = CompareOrientations(block.Truth(), block.Result());
  EXPECT_LT(error.fPosition, 1e-6 * options.fFlyingHeight);
  EXPECT_LT(error.fAngle, 2e-6);
  for (const ReportPoint& point : report.Check.pPoints) {
    for (double residual : point.Residual) EXPECT_LT(std::abs(residual), 5e-3) << point.szName;
  }
  for (size_t j = 0; j < block.Truth().pCameras.size(); ++j) {
    EXPECT_NEAR(block.Result().pCameras[j].fFocal, block.Truth().pCameras[j].fFocal, 0.02) << j;
  }
}

INSTANTIATE_TEST_SUITE_P(Layouts, NoiseFreeBlock,
                         ::testing::Values(LayoutCase{"EopText", true, false, 1, false},
                                           LayoutCase{"EopBinary", true, false, 1, true},
                                           LayoutCase{"IopText", false, true, 1, false},
                                           LayoutCase{"IopSeveralCameras", false, true, 3, true},
                                           LayoutCase{"MergedText", true, true, 0, false},
                                           LayoutCase{"MergedBinary", true, true, 0, true},
                                           LayoutCase{"EopIopText", true, true, 1, false},
                                           LayoutCase{"EopIopSeveralCameras", true, true, 3, true}),
                         [](const auto& parameter) { return parameter.param.szName; });

TEST(NoisyBlock, FinalRmseIsTheNoiseThatWentIn) {
  SyntheticOptions options = SmallBlock();
  options.fNoise = 0.5;
  options.nCheckPoints = 40;
  options.fMeasurementsPerImage = 400;
  Block block(options);
  FreeIterations(block, "1e-6");
  ASSERT_TRUE(block.Run().bDone) << block.Log();
  const Report report = block.AdjustReport();
  ASSERT_TRUE(report.bRead);

  // A least squares fit takes one part in n of the variance for each of the u unknowns; the intersection
  // weighs the rays of a point unevenly and so leaves a little more.
  const SyntheticCounts& counts = block.Truth().Counts;
  const double n = 2.0 * static_cast<double>(counts.nTieMeasurements + counts.nGroundMeasurements);
  const double u =
      6.0 * static_cast<double>(counts.nImages) + 5.0 + 3.0 * static_cast<double>(counts.nTiePoints);
  const double fitted = options.fNoise * std::sqrt(1 - u / n);
  const double rmse = std::hypot(report.Rmse[0], report.Rmse[1]) / std::sqrt(2.0);
  EXPECT_GT(rmse, fitted * (1 - 4 / std::sqrt(2 * n)));
  EXPECT_LT(rmse, fitted * 1.08);
  EXPECT_NEAR(report.Mean[0], 0, 0.02);
  EXPECT_NEAR(report.Mean[1], 0, 0.02);
}

/// Standard deviations of a point from its own rays, by the normal equations of an unweighted intersection
/// with the true orientations.
std::array<double, 3> PredictedError(const SyntheticTruth& truth, const FilePoint& point) {
  double N[3][3] = {};
  for (const FileMeasurement& measured : point.pMeasurements) {
    const SyntheticImage& image = truth.pImages[static_cast<size_t>(measured.nImage)];
    const double* R = image.R;
    const double f = truth.pCameras[0].fFocal;
    const double d[3] = {point.Position[0] - image.X, point.Position[1] - image.Y,
                         point.Position[2] - image.Z};
    double b[3];
    for (int k = 0; k < 3; ++k) b[k] = R[k] * d[0] + R[3 + k] * d[1] + R[6 + k] * d[2];
    for (int axis = 0; axis < 2; ++axis) {
      double row[3];
      for (int k = 0; k < 3; ++k)
        row[k] = f * (R[3 * k + axis] / b[2] - b[axis] * R[3 * k + 2] / (b[2] * b[2]));
      for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) N[i][j] += row[i] * row[j];
      }
    }
  }
  const auto minor = [&](int i, int j) {
    const int a = (i + 1) % 3, b = (i + 2) % 3, c = (j + 1) % 3, d = (j + 2) % 3;
    return N[a][c] * N[b][d] - N[a][d] * N[b][c];
  };
  const double determinant = N[0][0] * minor(0, 0) + N[0][1] * minor(0, 1) + N[0][2] * minor(0, 2);
  std::array<double, 3> sigma{};
  for (int i = 0; i < 3; ++i) {
    sigma[static_cast<size_t>(i)] = truth.Options.fNoise * std::sqrt(minor(i, i) / determinant);
  }
  return sigma;
}

TEST(NoisyBlock, CheckPointErrorsHaveTheirPredictedSize) {
  SyntheticOptions options = SmallBlock();
  options.fNoise = 0.5;
  options.nCheckPoints = 40;
  options.fMeasurementsPerImage = 400;
  options.nControlPoints = 3;
  Block block(options);
  FreeIterations(block, "1e-6");
  ASSERT_TRUE(block.Run().bDone);
  const Report report = block.AdjustReport();
  ASSERT_EQ(report.Check.pPoints.size(), 40u);
  // Mean square of the errors in units of each point's own standard deviation.
  std::array<double, 3> normalised{};
  size_t number = 0;
  for (const FilePoint& point : ReadGcpFile(block.Paths().szGcp)) {
    if (point.nType < 2) continue;
    const auto sigma = PredictedError(block.Truth(), point);
    const auto& residual = report.Check.pPoints[number++].Residual;
    for (size_t i = 0; i < 3; ++i) normalised[i] += std::pow(residual[i] / sigma[i], 2) / 40;
  }
  // The rays give the floor; orientations and three noisy control measurements add to it.
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_GT(std::sqrt(normalised[i]), 0.8) << i;
    EXPECT_LT(std::sqrt(normalised[i]), 3.0) << i;
  }
}

TEST(NoisyBlock, OutliersAreFoundAndLeftOut) {
  SyntheticOptions options = SmallBlock();
  options.fNoise = 0.5;
  options.fOutlierFraction = 0.005;
  options.fOutlierSize = 60;
  options.fMeasurementsPerImage = 400;
  Block block(options);
  FreeIterations(block, "1e-6");
  block.Set("LM_Converge_Threshold", "1e-4");
  ASSERT_TRUE(block.Run().bDone);
  const LastIteration last = ReadLastResiduals(block);
  ASSERT_GT(block.Truth().Counts.nOutliers, 10);
  // Points are intersected from all of their rays, so that an outlier makes the other rays of its point gross
  // too.
  const auto outliers = static_cast<double>(block.Truth().Counts.nOutliers);
  EXPECT_GT(last.nGross, 0.9 * outliers);
  EXPECT_LT(last.nGross, block.Truth().Counts.nMaxRays * outliers);
  const Report report = block.AdjustReport();
  EXPECT_LT(std::max(report.Rmse[0], report.Rmse[1]), 1.0) << "far from the 60 pixels of an outlier";
}

}  // namespace
}  // namespace orvo::test
