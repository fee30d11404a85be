#include <gtest/gtest.h>

#include "base/TextReader.h"
#include "normal/ThreadBuffers.h"
#include "run/BundleAdjustment.h"
#include "support/Console.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

TEST(Object, Defaults) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  EXPECT_EQ(block.Frame.fGsd, 0.1f);
  EXPECT_EQ(block.Points.nCurrentSection, -1);
  EXPECT_EQ(block.Settings.fDampingBase, 1000.0);
  for (double value : {block.Residuals.fMeanResidualX, block.Residuals.fMeanResidualY,
                       block.Residuals.fRmsResidualX, block.Residuals.fRmsResidualY}) {
    EXPECT_EQ(value, 100.0 * 0.001);
  }
  EXPECT_EQ(block.Residuals.fMaxResidualX, -1e308);
  EXPECT_EQ(block.Residuals.fMaxResidualY, -1e308);
  EXPECT_EQ(block.Residuals.fMinResidualX, 1e308);
  EXPECT_EQ(block.Residuals.fMinResidualY, 1e308);
  EXPECT_EQ(block.Frame.dCoorScale, 1.0);
  EXPECT_EQ(block.Points.Sections.Count(), 0);
  EXPECT_TRUE(block.Paths.szOutputPath.empty());
}

TEST(Object, ReleasesRunTwice) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  block.Points.pObjectPoints.resize(3);
  block.Points.pImagePoints.resize(4);
  block.Normal.pSubMatrixRows.resize(2);
  block.Normal.pSubMatrices.resize(2);
  block.Normal.pDenseNormal = ZeroedArray(4);
  block.Normal.pConstVector.resize(2);
  block.Images.pPos.resize(1);
  block.Normal.pPosParams.resize(1);
  block.Normal.pThreadBuffers = std::make_unique<ThreadBuffers>();
  block.Points.Sections.ObjectPoints.resize(2);
  block.Points.Sections.ImagePoints.resize(2);
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(block.ReleaseSectionPoints(), 1);
    EXPECT_EQ(block.ReleaseSectionTable(), 1);
    EXPECT_EQ(block.ReleaseSubMatrixIndex(), 1);
    EXPECT_EQ(block.ReleaseNormalEquation(), 1);
    EXPECT_EQ(block.ReleasePosData(), 1);
    EXPECT_EQ(block.ReleaseThreadBuffers(), 1);
    EXPECT_TRUE(block.Points.pObjectPoints.empty() && block.Points.pImagePoints.empty() &&
                block.Normal.pSubMatrixRows.empty() && block.Normal.pSubMatrices.empty() &&
                !block.Normal.pDenseNormal && block.Normal.pConstVector.empty() &&
                block.Images.pPos.empty() && block.Normal.pPosParams.empty() && !block.Normal.pThreadBuffers);
    EXPECT_EQ(block.Points.Sections.Count(), 0);
  }
}

TEST(Object, Setters) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  EXPECT_EQ(block.SetApplyGpu(true), 1);
  EXPECT_EQ(block.SetStartTick(5), 1);
  EXPECT_EQ(block.SetEndTick(6), 1);
  EXPECT_EQ(block.SetLmIterationDone(7), 1);
  EXPECT_EQ(block.SetResidualStatistics(0.1f, 0.2f, 0.3f, 0.4f), 1);
  EXPECT_TRUE(block.Limits.Apply_GPU);
  EXPECT_EQ(block.Progress.fStartTick, 5);
  EXPECT_EQ(block.Progress.fEndTick, 6);
  EXPECT_EQ(block.Progress.nLmIterationDone, 7);
  EXPECT_EQ(block.Residuals.fMeanResidualX, static_cast<double>(0.1f));
  EXPECT_EQ(block.Residuals.fMeanResidualY, static_cast<double>(0.2f));
  EXPECT_EQ(block.Residuals.fRmsResidualX, static_cast<double>(0.3f));
  EXPECT_EQ(block.Residuals.fRmsResidualY, static_cast<double>(0.4f));
}

TEST(Object, ClearingNoSubMatricesIsHarmless) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  EXPECT_EQ(block.ClearSubMatrices(block.Normal.pSubMatrices), 1);
}

std::string WithoutClock(std::string text) {
  const std::string mark = "Adjustment begin:";
  for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
    const size_t end = text.find('\n', at);
    text.replace(at + mark.size(), end - at - mark.size(), "*");
  }
  return text;
}

TEST(Log, HeaderAndSecondRun) {
  ScratchFolder folder;
  const std::string header = "\nAdjustment begin:*\n" + std::string(108, '=') + "\n";
  for (int run = 0; run < 2; ++run) {
    Console console;
    CBundleAdjustment block(NativePlatform(), console.Stream());
    block.System.Now = [] { return LocalTime{2024, 3, 7, 4, 5, 6}; };
    block.Paths.szOutputPath = folder.Path();
    std::string path;
    EXPECT_EQ(block.OpenLogFile(path), 1);
    EXPECT_EQ(path, folder / "log.txt");
    block.LogPrintf("run %d\n", run);
    block.Log.PrintToConsole("console only\n");
    EXPECT_EQ(block.CloseLogFile(), 1);
    EXPECT_EQ(block.CloseLogFile(), 1);
    EXPECT_EQ(console.Text(), "\nAdjustment begin:2024-03-07 04:05:06\n" + std::string(108, '=') + "\nrun " +
                                  std::to_string(run) + "\nconsole only\n");
  }
  EXPECT_EQ(WithoutClock(ReadFile(folder / "log.txt")), header + "run 0\n" + header + "run 1\n");
}

TEST(Log, TextOfAnyLengthIsWrittenVerbatim) {
  ScratchFolder folder;
  Console console;
  CBundleAdjustment block(NativePlatform(), console.Stream());
  block.Paths.szOutputPath = folder.Path();
  std::string path;
  block.OpenLogFile(path);
  const std::string odd = std::string(100000, 'x') + "100%s%n%d";
  block.LogPrintf("Open ovt file '%s' failed!\n", odd.c_str());
  block.CloseLogFile();
  EXPECT_NE(ReadFile(path).find("Open ovt file '" + odd + "' failed!\n"), std::string::npos);
  EXPECT_NE(console.Text().find("Open ovt file '" + odd + "' failed!\n"), std::string::npos);
}

TEST(Log, WithoutFileMessagesReachTheConsole) {
  for (const char* output : {"", "/nonexistent/folder"}) {
    Console console;
    CBundleAdjustment block(NativePlatform(), console.Stream());
    block.Paths.szOutputPath = output;
    std::string path;
    EXPECT_EQ(block.OpenLogFile(path), 0);
    EXPECT_FALSE(block.Log.IsOpen());
    block.LogPrintf("more\n");
    EXPECT_EQ(console.Text(), "Create log file failed\nmore\n");
  }
}

TEST(Object, ReadsABlockStepByStep) {
  ScratchFolder folder;
  const std::string project = folder / "block.prj", gcp = folder / "gcp.txt";
  WriteFile(project,
            "1 1 2\n0 4000 3000 0 50000 0 0 0 0 0\n0 0\nd/a.tif\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
            "p 1 2 3 0\n1\n0 1 1\nq 1 2 3 1\n1\n0 2 2\n");
  WriteFile(gcp, "1\ng 4 5 6 1\n1\n0 1 1\n");
  CBundleAdjustment block(NativePlatform(), nullptr);
  EXPECT_EQ(block.PreReadData(project, gcp), 1);
  EXPECT_EQ(block.Paths.szProjectPath, project);
  EXPECT_EQ(block.Paths.szGcpPath, gcp);
  EXPECT_EQ(block.ReadProject(project, gcp), 1);
  EXPECT_EQ(block.PlanSections(1, 1, 3, 3, &block.Points.pPointImageCount), 1);
  // Without paths it takes those of the object.
  EXPECT_EQ(block.ReadSectionPoints(0), 1);
  ASSERT_EQ(block.Points.pObjectPoints.size(), 3u);
  EXPECT_STREQ(block.Points.pObjectPoints[0].szName, "p");
  EXPECT_STREQ(block.Points.pObjectPoints[2].szName, "g");

  // In a normalised block the control point of the project follows behind its reading, and that of the table
  // is normalised already.
  block.Frame.bNormalized = true;
  block.Frame.dCoorMean[0] = 1;
  block.Frame.dCoorScale = 10;
  block.Points.pGcpTable[0].X = 70;
  int64_t count = 0;
  EXPECT_EQ(block.ReadSectionPoints(0, project, gcp, count), 1);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(block.Points.pObjectPoints[0].X, 1);
  EXPECT_EQ(block.Points.pObjectPoints[1].Z, 30);
  EXPECT_EQ(block.Points.pObjectPoints[2].X, 70);
}

TEST(Object, ReadersOfSingleFilesAreCallable) {
  ScratchFolder folder;
  WriteFile(folder / "block.prj",
            "1 1 1\n0 4000 3000 0 50000 0 0 0 0 0\n0 0\nd/a.tif\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
            "p 1 2 3 0\n1\n0 1 1\n");
  WriteFile(folder / "gcp.txt", "2\ng 4 5 6 1\n1\n0 1 1\nh 4 5 6 1\n1\n1 1 1\n");
  CBundleAdjustment block(NativePlatform(), nullptr);
  ASSERT_EQ(block.ReadProject(folder / "block.prj", ""), 1);
  block.Points.Sections.ObjectPoints = {{0, 0}};
  block.Points.Sections.ImagePoints = {{0, 0}};
  block.Points.nTiePointNum = 1;
  ObjectPointArray points;
  ImagePointArray measurements;
  TextReader project, gcp;
  ASSERT_TRUE(project.Open(folder / "block.prj") && gcp.Open(folder / "gcp.txt"));
  EXPECT_EQ(block.ReadTextPoints(0, points, measurements, project), 1);
  EXPECT_EQ(points.size(), 1u);
  EXPECT_EQ(block.ReadGcpList(points, measurements, gcp), -1);
  EXPECT_EQ(points.size(), 2u);
  gcp.Rewind();
  int64_t count = 0, imageCount = 0;
  block.Points.Sections.ObjectPoints = {{1, 2}};
  EXPECT_EQ(block.ReadGcpPoints(0, count, imageCount, gcp), -1);
  EXPECT_EQ(block.Points.pObjectPoints.size(), 1u);
  gcp.Rewind();
  EXPECT_EQ(block.ReadGcpForResample(count, imageCount, gcp), 1);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(imageCount, 2);
}

}  // namespace
}  // namespace orvo::test
