#include <gtest/gtest.h>

#include "normal/ThreadBuffers.h"
#include "run/BundleAdjustment.h"
#include "support/Console.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

TEST(Object, Defaults) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  EXPECT_EQ(block.fGsd, 0.1f);
  EXPECT_EQ(block.nCurrentSection, -1);
  EXPECT_EQ(block.fDampingBase, 1000.0);
  for (double value :
       {block.fMeanResidualX, block.fMeanResidualY, block.fRmsResidualX, block.fRmsResidualY}) {
    EXPECT_EQ(value, 100.0 * 0.001);
  }
  EXPECT_EQ(block.fMaxResidualX, -1e308);
  EXPECT_EQ(block.fMaxResidualY, -1e308);
  EXPECT_EQ(block.fMinResidualX, 1e308);
  EXPECT_EQ(block.fMinResidualY, 1e308);
  EXPECT_EQ(block.dCoorScale, 1.0);
  EXPECT_EQ(block.Sections.Count(), 0);
  EXPECT_TRUE(block.szOutputPath.empty());
}

TEST(Object, ReleasesRunTwice) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  block.pObjectPoints.resize(3);
  block.pImagePoints.resize(4);
  block.pSubMatrixRows.resize(2);
  block.pSubMatrices.resize(2);
  block.pDenseNormal = ZeroedArray(4);
  block.pConstVector.resize(2);
  block.pPos.resize(1);
  block.pPosParams.resize(1);
  block.pThreadBuffers = std::make_unique<ThreadBuffers>();
  block.Sections.ObjectPoints.resize(2);
  block.Sections.ImagePoints.resize(2);
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(block.ReleaseSectionPoints(), 1);
    EXPECT_EQ(block.ReleaseSectionTable(), 1);
    EXPECT_EQ(block.ReleaseSubMatrixIndex(), 1);
    EXPECT_EQ(block.ReleaseNormalEquation(), 1);
    EXPECT_EQ(block.ReleasePosData(), 1);
    EXPECT_EQ(block.ReleaseThreadBuffers(), 1);
    EXPECT_TRUE(block.pObjectPoints.empty() && block.pImagePoints.empty() && block.pSubMatrixRows.empty() &&
                block.pSubMatrices.empty() && !block.pDenseNormal && block.pConstVector.empty() &&
                block.pPos.empty() && block.pPosParams.empty() && !block.pThreadBuffers);
    EXPECT_EQ(block.Sections.Count(), 0);
  }
}

TEST(Object, Setters) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  EXPECT_EQ(block.SetApplyGpu(true), 1);
  EXPECT_EQ(block.SetStartTick(5), 1);
  EXPECT_EQ(block.SetEndTick(6), 1);
  EXPECT_EQ(block.SetLmIterationDone(7), 1);
  EXPECT_EQ(block.SetResidualStatistics(0.1f, 0.2f, 0.3f, 0.4f), 1);
  EXPECT_TRUE(block.Apply_GPU);
  EXPECT_EQ(block.fStartTick, 5);
  EXPECT_EQ(block.fEndTick, 6);
  EXPECT_EQ(block.nLmIterationDone, 7);
  EXPECT_EQ(block.fMeanResidualX, static_cast<double>(0.1f));
  EXPECT_EQ(block.fMeanResidualY, static_cast<double>(0.2f));
  EXPECT_EQ(block.fRmsResidualX, static_cast<double>(0.3f));
  EXPECT_EQ(block.fRmsResidualY, static_cast<double>(0.4f));
}

TEST(Object, ClearingNoSubMatricesIsHarmless) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  EXPECT_EQ(block.ClearSubMatrices(block.pSubMatrices), 1);
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
    block.szOutputPath = folder.Path();
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
  block.szOutputPath = folder.Path();
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
    block.szOutputPath = output;
    std::string path;
    EXPECT_EQ(block.OpenLogFile(path), 0);
    EXPECT_EQ(block.fLogFile, nullptr);
    block.LogPrintf("more\n");
    EXPECT_EQ(console.Text(), "Create log file failed\nmore\n");
  }
}

}  // namespace
}  // namespace orvo::test
