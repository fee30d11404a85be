// What whole runs leave in their output folder.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "base/FolderLock.h"
#include "support/Block.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

SyntheticOptions Options() {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 4;
  return options;
}

/// Every file of the folder but the log, which each run adds to, and what is told of a run that failed.
std::map<std::string, std::string> Files(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).string();
    if (name != "log.txt" && !name.starts_with("failed"))
      files[name] = entry.is_directory() ? "folder" : ReadFile(entry.path().string());
  }
  return files;
}

BlockRun Ruled(RunRules rules) {
  BlockRun run;
  run.Options.Rules = rules;
  return run;
}

class Outputs : public ::testing::TestWithParam<RunRules> {};

TEST_P(Outputs, ShorterRunLeavesNothingOfALongerOne) {
  Block block(Options());
  const BlockRun run = Ruled(GetParam());
  ASSERT_TRUE(block.Run(run).bDone);
  const std::string out = block / run.szOutput;
  ASSERT_TRUE(Exists(out + "/Residuals_1_0.res"));
  WriteFile(out + "/Residuals_mine.res", "mine");
  WriteFile(out + "/OrvoResult.ovt", "of a run of a binary project");
  block.Set("Max_LM_Iteration_Num", "1");
  ASSERT_TRUE(block.Run(run).bDone);
  auto files = Files(out);
  EXPECT_EQ(files.erase("Residuals_mine.res"), 1u);
  for (const char* name : {"OrvoResult.ovc", "OrvoResult.rst", "OrvoAdjustReport.txt", "ObjectPointError.xyz",
                           "Residuals_0_0.res", "Corrections_0.txt", "LM_R_Vector_0.txt"}) {
    files.erase(name);
  }
  files.erase("OrvoResult_gcp.rst");
  for (const char* name : {"verdict.txt", "summary.json", "report.html"})
    EXPECT_EQ(files.erase(name), GetParam() == RunRules::Guarded ? 1u : 0u) << name;
  EXPECT_TRUE(files.empty()) << files.begin()->first;
}

TEST_P(Outputs, FileThatCantBeMadeLeavesTheEarlierResults) {
  for (const char* name : {"Residuals_0_0.res", "Corrections_0.txt", "LM_R_Vector_0.txt", "OrvoResult.ovc",
                           "OrvoAdjustReport.txt"}) {
    Block block(Options());
    const BlockRun run = Ruled(GetParam());
    ASSERT_TRUE(block.Run(run).bDone);
    const std::string out = block / run.szOutput;
    std::filesystem::remove(out + "/" + name);
    std::filesystem::create_directory(out + "/" + name);
    const auto before = Files(out);
    block.Set("Max_LM_Iteration_Num", "2");
    const RunOutcome outcome = block.Run(run);
    EXPECT_EQ(outcome.szFault, "cannot create " + out + "/" + name + ": Is a directory");
    EXPECT_EQ(Files(out), before) << name;
    EXPECT_NE(block.Log().find("Error!No result file is put in place: " + outcome.szFault + "!\n"),
              std::string::npos);
  }
}

TEST_P(Outputs, FolderInUseIsRefusedAndNothingWritten) {
  Block block(Options());
  const BlockRun run = Ruled(GetParam());
  ASSERT_TRUE(block.Run(run).bDone);
  const std::string out = block / run.szOutput, log = block.Log();
  FolderLock lock;
  ASSERT_EQ(lock.Take(out), FolderLock::Result::Taken);
  const auto before = Files(out);
  const RunOutcome outcome = block.Run(run);
  EXPECT_FALSE(outcome.bDone);
  EXPECT_NE(outcome.szFault.find(" is writing there since "), std::string::npos) << outcome.szFault;
  EXPECT_EQ(Files(out), before);
  EXPECT_EQ(block.Log(), log);
}

TEST_P(Outputs, InputUnderTheNameOfAnOutputIsRefused) {
  for (const char* name : {"OrvoResult.ovc", "Residuals_40_2.res", "log.txt", "unusable/OrvoResult.rst"}) {
    Block block(Options());
    const BlockRun run = Ruled(GetParam());
    const std::string out = block / run.szOutput;
    std::filesystem::create_directories(out + "/unusable");
    std::filesystem::create_symlink(block.Paths().szGcp, out + "/" + name);
    const auto before = Files(out);
    const std::string gcp = ReadFile(block.Paths().szGcp);
    const RunOutcome outcome = block.Run(run);
    EXPECT_FALSE(outcome.bDone);
    EXPECT_EQ(outcome.szFault, "the output " + out + "/" + name + " is the same file as the input " +
                                   block.Paths().szGcp + ": name another output folder");
    EXPECT_EQ(Files(out), before);
    EXPECT_EQ(ReadFile(block.Paths().szGcp), gcp);
  }
}

INSTANTIATE_TEST_SUITE_P(Rules, Outputs, ::testing::Values(RunRules::Classic, RunRules::Guarded),
                         [](const auto& rules) {
                           return rules.param == RunRules::Classic ? "Classic" : "Guarded";
                         });

TEST(OutputsByRules, RunThatEndsEarly) {
  for (const RunRules rules : {RunRules::Classic, RunRules::Guarded}) {
    Block block(Options());
    const BlockRun run = Ruled(rules);
    ASSERT_TRUE(block.Run(run).bDone);
    const auto before = Files(block / run.szOutput);
    WriteFile(block.Paths().szText, "");
    EXPECT_FALSE(block.Run(run).bDone);
    EXPECT_EQ(Files(block / run.szOutput), before);
    for (const char* name : {"summary.json", "report.html"})
      EXPECT_EQ(Exists(block / run.szOutput + "/failed/" + name), rules == RunRules::Guarded) << name;
    EXPECT_FALSE(Exists(block / run.szOutput + "/failed/OrvoResult.ovc"));
  }
}

TEST(OutputsByRules, ThinnedFileIsReadWhereItIsStaged) {
  Block block(Options());
  BlockRun run = Ruled(RunRules::Guarded);
  run.bBinary = true;
  const RunOutcome outcome = block.Run(run);
  EXPECT_TRUE(outcome.bDone) << outcome.szFault;
  EXPECT_TRUE(Exists(block / run.szOutput + "/OrvoResult.ovt"));
  for (const auto& [name, text] : Files(block / run.szOutput)) EXPECT_NE(name.front(), '.') << name;
}

TEST(OutputsByRules, FateOfARun) {
  const RunOutcome done{true, 0, "", ""}, ended{false, 0, "", ""}, short1{true, 1, "", ""},
      failed{true, 0, "", "why"};
  EXPECT_EQ(FateOf(RunRules::Guarded, done), OutputFate::Replace);
  EXPECT_EQ(FateOf(RunRules::Guarded, ended), OutputFate::Failed);
  EXPECT_EQ(FateOf(RunRules::Guarded, short1), OutputFate::Failed);
  EXPECT_EQ(FateOf(RunRules::Guarded, failed), OutputFate::Failed);
  const struct {
    Grade grade;
    OutputFate plain, strict;
  } grades[] = {{Grade::Good, OutputFate::Replace, OutputFate::Replace},
                {Grade::Doubtful, OutputFate::Replace, OutputFate::Unusable},
                {Grade::Unusable, OutputFate::Unusable, OutputFate::Unusable}};
  for (const auto& [grade, plain, strict] : grades) {
    RunOutcome judged = done;
    judged.Judgement.Result = grade;
    EXPECT_EQ(FateOf(RunRules::Guarded, judged), plain);
    EXPECT_EQ(FateOf(RunRules::Guarded, judged, true), strict);
  }
  EXPECT_EQ(FateOf(RunRules::Classic, done), OutputFate::Replace);
  EXPECT_EQ(FateOf(RunRules::Classic, ended), OutputFate::Add);
  EXPECT_EQ(FateOf(RunRules::Classic, short1), OutputFate::Replace);
  EXPECT_EQ(FateOf(RunRules::Classic, failed), OutputFate::Discard);
}

}  // namespace
}  // namespace orvo::test
