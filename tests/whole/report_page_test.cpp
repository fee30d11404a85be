// report.html of whole runs, as a browser lays it out.
#include <gtest/gtest.h>

#include <cstdlib>

#include "report/html/PageChecks.h"
#include "report/html/PageLayout.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

std::string PageOfRun(const RunOutcome& outcome, const std::string& output, bool done) {
  EXPECT_EQ(outcome.bDone, done);
  return ReadFile(SummaryFolder(output) + "/report.html");
}

RunOptions Guarded() {
  RunOptions options;
  options.Rules = RunRules::Guarded;
  return options;
}

std::string Seneca() {
  ScratchFolder folder;
  RunPaths paths;
  paths.szProject = Example("seneca/seneca_start.prj");
  paths.szGcp = Example("seneca/seneca_gcp.txt");
  paths.szPos = Example("seneca/seneca_pos.txt");
  paths.szSettings = Example("seneca/AdjPara_gps.xml");
  paths.szOutput = folder / "out";
  const RunOutcome outcome = RunAdjustment(paths, NativePlatform(), nullptr, Guarded());
  return PageOfRun(outcome, paths.szOutput, true);
}

std::string PageOfBlock(Block& block, bool pos, bool done) {
  BlockRun run;
  run.bPos = pos;
  run.Options = Guarded();
  const RunOutcome outcome = block.Run(run);
  return PageOfRun(outcome, block.Output(""), done);
}

std::string Outliers() {
  SyntheticOptions options;
  options.nStrips = 10;
  options.nImagesPerStrip = 20;
  options.nCameras = 2;
  options.nCrossStrips = 2;
  options.fOutlierFraction = 0.03;
  options.nCheckPoints = 30;
  Block block(options);
  block.Set("Apply_GPS_Data", "true");
  return PageOfBlock(block, true, true);
}

std::string ACameraAnImage() {
  SyntheticOptions options;
  options.nCameras = 0;
  Block block(options);
  return PageOfBlock(block, false, true);
}

std::string Failed() {
  Block block;
  WriteFile(block.Paths().szText, "");
  return PageOfBlock(block, false, false);
}

struct Page {
  const char* szName;
  std::string (*pMake)();
  int nLeastTexts;
};

void PrintTo(const Page& page, std::ostream* out) { *out << page.szName; }

class RunPages : public ::testing::TestWithParam<Page> {};

TEST_P(RunPages, AreWholeAndFitTheWindow) {
  const std::string page = GetParam().pMake();
  EXPECT_EQ(TagFault(page), "");
  EXPECT_LT(page.size(), size_t{3} << 20);
  for (const char* reach : {"http:", "https:", "src=", "@import", "url(", "<script"})
    EXPECT_EQ(CountOf(page, reach), 0U) << reach;
  if (!HasBrowser()) GTEST_SKIP() << "there is no chromium";
  for (const int width : {400, 1600}) {
    const std::string said = Measured(page, width);
    ASSERT_TRUE(said.starts_with(std::to_string(width) + " px, ")) << said;
    EXPECT_GE(std::atoi(said.c_str() + said.find(", ") + 2), GetParam().nLeastTexts) << said;
    EXPECT_EQ(said.substr(said.find('\n') + 1), "") << width;
  }
}

INSTANTIATE_TEST_SUITE_P(All, RunPages,
                         ::testing::Values(Page{"Seneca", Seneca, 100}, Page{"Outliers", Outliers, 100},
                                           Page{"ACameraAnImage", ACameraAnImage, 100},
                                           Page{"Failed", Failed, 0}),
                         [](const auto& row) { return std::string(row.param.szName); });

}  // namespace
}  // namespace orvo::test
