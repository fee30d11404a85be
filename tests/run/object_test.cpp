#include <gtest/gtest.h>

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
    block.ConsolePrintf("console only\n");
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

}  // namespace
}  // namespace orvo::test
