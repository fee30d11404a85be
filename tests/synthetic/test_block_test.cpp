// The builder and the readers that the tests of whole runs stand on.
#include <gtest/gtest.h>

#include <cmath>

#include "support/Block.h"

namespace orvo::test {
namespace {

TEST(TestBlock, ARunLeavesItsLogInItsOutputFolder) {
  Block block;
  block.Run({.szOutput = "elsewhere"});
  EXPECT_EQ(block.Output("log.txt"), block / "elsewhere/log.txt");
  const std::string log = block.Log();
  EXPECT_EQ(log.rfind("\nAdjustment begin:<clock>\n====", 0), 0u) << log;
  EXPECT_NE(log.find(">>Pre-reading data...\n"), std::string::npos);
  EXPECT_EQ(log.substr(log.size() - 23), ">>Elapsed time:<clock>\n");
}

TEST(TestBlock, SetChangesAnElementOfTheSettings) {
  Block block;
  block.Set("Apply_PCG_Model", "true");
  block.Set("Max_LM_Iteration_Num", "7");
  const std::string xml = ReadFile(block.Paths().szXml);
  EXPECT_NE(xml.find("<Apply_PCG_Model>true</Apply_PCG_Model>"), std::string::npos);
  EXPECT_NE(xml.find("<Max_LM_Iteration_Num>7</Max_LM_Iteration_Num>"), std::string::npos);
}

TEST(ResultFiles, ReadsAnAdjustedProject) {
  ScratchFolder folder;
  const std::string path = folder / "OrvoResult.ovc";
  WriteFile(path,
            "1 1 4711\n"
            "       0\t    8000\t   12000\t    0.0000000000e+00     1.2000000000e+04     1.5000000000e+00 "
            "   -2.5000000000e+00     0.0000000000e+00     1.0000000000e-10     3.0000000000e-18 "
            "    0.0000000000e+00     0.0000000000e+00     0.0000000000e+00     0.0000000000e+00 "
            "    0.0000000000e+00\n"
            "1001 0\nimages/IMG_001001.jpg\n1 0 0 0 1 0 0 0 1\n  1.0e+03 2.0e+03 3.0e+03\n");
  const ProjectFile project = ReadProjectFile(path);
  EXPECT_EQ(project.nHeaderPoints, 4711);
  ASSERT_EQ(project.pCameras.size(), 1u);
  EXPECT_EQ(project.pCameras[0].nHeight, 12000);
  EXPECT_EQ(project.pCameras[0].fFocal, 12000);
  EXPECT_EQ(project.pCameras[0].fPrincipalY, -2.5);
  EXPECT_EQ(project.pCameras[0].fK1, 1e-10);
  EXPECT_EQ(project.pCameras[0].fK2, 3e-18);
  ASSERT_EQ(project.pImages.size(), 1u);
  EXPECT_EQ(project.pImages[0].R[4], 1);
  EXPECT_EQ(project.pImages[0].Position[2], 3000);
  EXPECT_TRUE(ReadProjectFile(folder / "none.ovc").pImages.empty());
}

TEST(ResultFiles, ReadsTheReport) {
  ScratchFolder folder;
  const std::string path = folder / "OrvoAdjustReport.txt";
  const std::string text =
      "###Adjustment information\nTotal run time:1.234s\nImage point reprojection error:\n"
      "MEAN:    0.001000\t   -0.002000\nRMSE:    0.510000\t    0.520000\nGSD:    0.100000\n\n"
      "Control point number:1\nControl point residuals:\n"
      "G00000\t  390.919852\t  464.266243\t   89.923903\t    0.010000\t   -0.020000\t    0.030000\n"
      "MEAN:    0.010000\t   -0.020000\t    0.030000\nRMSE:    0.010000\t    0.020000\t    0.030000\n"
      "MAX:    0.010000\t   -0.020000\t    0.030000\n\n"
      "Check point number:0\nCheck point residuals:\n"
      "MEAN:    0.000000\t    0.000000\t    0.000000\nRMSE:    0.000000\t    0.000000\t    0.000000\n"
      "MAX:    0.000000\t    0.000000\t    0.000000\n";
  WriteFile(path, text);
  const Report report = ReadReport(path);
  ASSERT_TRUE(report.bRead);
  EXPECT_EQ(report.Mean[1], -0.002);
  EXPECT_EQ(report.Rmse[0], 0.51);
  EXPECT_EQ(report.fGsd, 0.1);
  EXPECT_EQ(report.Control.nNumber, 1);
  ASSERT_EQ(report.Control.pPoints.size(), 1u);
  EXPECT_EQ(report.Control.pPoints[0].szName, "G00000");
  EXPECT_EQ(report.Control.pPoints[0].Given[2], 89.923903);
  EXPECT_EQ(report.Control.pPoints[0].Residual[1], -0.02);
  EXPECT_EQ(report.Control.Max[1], -0.02);
  EXPECT_EQ(report.Check.nNumber, 0);
  EXPECT_TRUE(report.Check.pPoints.empty());
  EXPECT_NE(MaskClocks(text).find("Total run time:<clock>\n"), std::string::npos);
  WriteFile(path, text.substr(0, text.size() - 60));
  EXPECT_FALSE(ReadReport(path).bRead) << "cut short";
  EXPECT_FALSE(ReadReport(folder / "none.txt").bRead);
}

TEST(ResultFiles, ComparesOrientationsWithTheTruth) {
  const Block block;
  ProjectFile project = ReadProjectFile(block.Paths().szText);
  for (size_t i = 0; i < project.pImages.size(); ++i) {
    const SyntheticImage& image = block.Truth().pImages[i];
    std::copy(image.R, image.R + 9, project.pImages[i].R.begin());
    project.pImages[i].Position = {image.X, image.Y, image.Z};
  }
  EXPECT_EQ(CompareOrientations(block.Truth(), project).fPosition, 0);
  EXPECT_EQ(CompareOrientations(block.Truth(), project).fAngle, 0);
  project.pImages[7].Position[2] += 0.25;
  const SyntheticImage& image = block.Truth().pImages[9];
  SyntheticRotation(image.fPhi, image.fOmega, image.fKappa + 0.01, project.pImages[9].R.data());
  EXPECT_NEAR(CompareOrientations(block.Truth(), project).fPosition, 0.25, 1e-12);
  EXPECT_NEAR(CompareOrientations(block.Truth(), project).fAngle, 0.01, 1e-12);
  project.pImages.pop_back();
  EXPECT_EQ(CompareOrientations(block.Truth(), project).fAngle, HUGE_VAL);
}

}  // namespace
}  // namespace orvo::test
