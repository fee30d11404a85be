// A real block.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "run/EntryPoint.h"
#include "support/ResultFiles.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

RunOutcome Adjust(const std::string& project, const std::string& gcp, const std::string& settings,
                  const std::string& output) {
  RunPaths paths;
  paths.szProject = project;
  paths.szGcp = gcp;
  paths.szSettings = settings;
  paths.szOutput = output;
  return RunAdjustment(paths, NativePlatform(), nullptr);
}

/// The RMSE line of a residual file, pixels.
std::array<double, 2> RmseOf(const std::string& path) {
  const std::string text = ReadFile(path);
  std::array<double, 2> rmse{};
  const size_t at = text.find("RMSE:");
  EXPECT_NE(at, std::string::npos) << path;
  if (at != std::string::npos) std::sscanf(text.c_str() + at, "RMSE:%lf %lf", &rmse[0], &rmse[1]);
  return rmse;
}

TEST(Seneca, PoorStartValuesComeToTheBlock) {
  ScratchFolder folder;
  const RunOutcome outcome = Adjust(Example("seneca/seneca_start.prj"), Example("seneca/seneca_gcp.txt"),
                                    Example("seneca/AdjPara.xml"), folder / "out");
  ASSERT_TRUE(outcome.bDone);
  EXPECT_EQ(outcome.nOutputFailureNum, 0);
  const auto before = RmseOf(folder / "out/Residuals_0_0.res");
  EXPECT_NEAR(before[0], 25, 1);
  EXPECT_NEAR(before[1], 26, 1);
  const Report report = ReadReport(folder / "out/OrvoAdjustReport.txt");
  ASSERT_TRUE(report.bRead);
  EXPECT_NEAR(report.Rmse[0], 0.750, 0.0005);
  EXPECT_NEAR(report.Rmse[1], 0.829, 0.0005);
}

class SharedSeneca : public ::testing::TestWithParam<const char*> {};

TEST_P(SharedSeneca, GoodStartValues) {
  const auto project = SharedData(std::string("seneca/") + GetParam());
  if (!project) GTEST_SKIP() << "the shared data set is not at hand";
  ScratchFolder folder;
  ASSERT_TRUE(Adjust(*project, *SharedData("seneca/seneca_gcp.txt"), *SharedData("seneca/AdjPara.xml"),
                     folder / "out")
                  .bDone);
  const Report report = ReadReport(folder / "out/OrvoAdjustReport.txt");
  EXPECT_NEAR(report.Rmse[0], 0.750, 0.0005);
  EXPECT_NEAR(report.Rmse[1], 0.829, 0.0005);
}

INSTANTIATE_TEST_SUITE_P(Forms, SharedSeneca, ::testing::Values("seneca_small.prj", "seneca_small.ovc"),
                         [](const auto& parameter) { return parameter.index == 0 ? "Text" : "Binary"; });

TEST(Seneca, FullBlockRuns) {
  const auto project = SharedData("seneca/seneca_full.ovc");
  if (!project) GTEST_SKIP() << "the shared data set is not at hand";
  ScratchFolder folder;
  ASSERT_TRUE(Adjust(*project, *SharedData("seneca/seneca_gcp.txt"), *SharedData("seneca/AdjPara.xml"),
                     folder / "out")
                  .bDone);
  const Report report = ReadReport(folder / "out/OrvoAdjustReport.txt");
  EXPECT_GT(std::hypot(report.Rmse[0], report.Rmse[1]), 0.3);
  EXPECT_LT(std::hypot(report.Rmse[0], report.Rmse[1]), 1.04);
  EXPECT_EQ(ReadFile(folder / "out/OrvoResult.ovt").size(),
            ReadFile(*SharedData("seneca/seneca_full.ovt")).size());
}

}  // namespace
}  // namespace orvo::test
