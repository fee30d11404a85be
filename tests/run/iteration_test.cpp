#include <gtest/gtest.h>

#include <cmath>

#include "normal/NormalBuilders.h"
#include "normal/UnknownStorage.h"
#include "run/BundleAdjustment.h"

namespace orvo::test {
namespace {

class IterationOfLayout : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, IterationOfLayout,
                         testing::Values(LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop));

/// Puts every measurement where the orientations as they stand project its point.
void MeasureExactly(CBundleAdjustment& block) {
  for (const ObjectPointRecord& point : block.Points.pObjectPoints) {
    for (int64_t j = point.nFirstImagePoint; j < point.nFirstImagePoint + point.nImagePointNum; ++j) {
      ImagePointRecord& measurement = block.Points.pImagePoints[static_cast<size_t>(j)];
      const EopRecord& eop = block.Images.pEop[static_cast<size_t>(measurement.nImage)];
      const IopRecord& iop = block.Cameras.pIop[static_cast<size_t>(measurement.nCamera)];
      double R[9];
      ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, R);
      const double d[3] = {point.X - eop.X, point.Y - eop.Y, point.Z - eop.Z};
      double projected[3];
      for (int k = 0; k < 3; ++k) projected[k] = R[k] * d[0] + R[3 + k] * d[1] + R[6 + k] * d[2];
      const double xc = -iop.fFocal * projected[0] / projected[2],
                   yc = -iop.fFocal * projected[1] / projected[2];
      // The distortion applies to the measurement, so it is found by iteration.
      double u = xc, v = yc;
      for (int k = 0; k < 50; ++k) {
        const double r2 = u * u + v * v, D = iop.fK1 * r2 + iop.fK2 * r2 * r2;
        u = xc / (1 - D);
        v = yc / (1 - D);
      }
      measurement.x = static_cast<float>(u + iop.fPrincipalX);
      measurement.y = static_cast<float>(v + iop.fPrincipalY);
    }
  }
}

TEST_P(IterationOfLayout, ReturnsToTheTruthFromAPerturbedStart) {
  const ScratchFolder folder;
  CBundleAdjustment block(MadeUpPlatform(1 << 30, 3), nullptr);
  block.Paths.szOutputPath = folder.Path();
  FillBlock(block, {.nLayoutMode = GetParam(), .nCameras = 2, .nPoints = 200, .bOddPoints = false});
  // The intersection takes the y of the principal point for its x, so that only equal ones come back.
  for (IopRecord& iop : block.Cameras.pIop) iop.fPrincipalY = iop.fPrincipalX;
  for (size_t k = 0; k < block.Points.pObjectPoints.size(); k += 4) block.Points.pObjectPoints[k].nType = 1;
  MeasureExactly(block);
  const std::vector<EopRecord> trueEop = block.Images.pEop;
  const std::vector<IopRecord> trueIop = block.Cameras.pIop;
  double sign = 1;
  if (block.Settings.Set_EOP_Unknown) {
    for (EopRecord& eop : block.Images.pEop) {
      eop.X += 0.3 * sign;
      eop.Y -= 0.2 * sign;
      eop.Z += 0.2;
      eop.fPhi += 2e-3 * sign;
      eop.fOmega -= 3e-3 * sign;
      eop.fKappa += 4e-3;
      sign = -sign;
    }
  }
  if (block.Settings.Set_IOP_Unknown) {
    for (IopRecord& iop : block.Cameras.pIop) {
      iop.fFocal += 0.01;
      iop.fPrincipalX += 0.005;
      iop.fPrincipalY += 0.005;
      iop.fK1 += 1e-5;
    }
  }
  // The dense merged form takes its increments from other unknowns, and those of an angle hold back a focal
  // length even when they are small.
  block.Settings.Damping_Coefficient = GetParam() == LayoutMergedEopIop ? 1e-13 : 1e-8;
  block.Settings.Free_LM_Iteration_Num = 30;
  block.Residuals.fRmsResidualX = block.Residuals.fRmsResidualY = 100;
  ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
  std::vector<int32_t> cache(1, 0);
  for (int32_t iteration = 0; iteration < 12 && !block.Progress.bConverged; ++iteration) {
    block.Residuals.nValidImagePointNum = 0;
    block.Residuals.fResidualSumX = block.Residuals.fResidualSumY = block.Residuals.fResidualSquareSumX =
        block.Residuals.fResidualSquareSumY = 0;
    MakeEquations(block.Normal, block.Unknowns.nUnknownNum, block.Limits.Apply_PCG_Model);
    block.ComputeTiePoints(0);
    ASSERT_EQ(block.BuildNormalEquation(iteration, 0, cache), 1);
    ASSERT_EQ(block.AddDampingCoefficients(iteration), 1);
    ASSERT_EQ(block.SolveAndUpdate(iteration), 1);
    block.ReleaseNormalEquation();
  }
  // What single precision leaves of a coordinate of up to 4.
  EXPECT_LT(block.Residuals.fRmsResidualX, 2e-7);
  EXPECT_LT(block.Residuals.fRmsResidualY, 2e-7);
  for (size_t k = 0; k < trueEop.size(); ++k) {
    EXPECT_NEAR(block.Images.pEop[k].X, trueEop[k].X, 1e-4);
    EXPECT_NEAR(block.Images.pEop[k].Y, trueEop[k].Y, 1e-4);
    EXPECT_NEAR(block.Images.pEop[k].Z, trueEop[k].Z, 1e-4);
    EXPECT_NEAR(block.Images.pEop[k].fKappa, trueEop[k].fKappa, 1e-6);
  }
  for (size_t k = 0; k < trueIop.size(); ++k) {
    EXPECT_NEAR(block.Cameras.pIop[k].fFocal, trueIop[k].fFocal, 1e-5);
    EXPECT_NEAR(block.Cameras.pIop[k].fK1, trueIop[k].fK1, 1e-6);
  }
}

}  // namespace
}  // namespace orvo::test
