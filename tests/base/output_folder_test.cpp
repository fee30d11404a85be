#include "base/OutputFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/CommitFiles.h"
#include "base/OutputCollision.h"
#include "base/OutputNames.h"

namespace orvo::test {
namespace {

/// Writes a file of a run.
void WriteOutput(OutputFolder& outputs, const std::string& path, const std::string& text) {
  const std::string place = outputs.PlaceOf(path);
  ASSERT_FALSE(place.empty()) << path;
  Put(place, text);
  outputs.Written(place, path);
}

/// An earlier run's files, one of the user's own and the log.
struct UsedFolder : CommitFolder {
  UsedFolder() {
    for (const auto& [name, text] : Before) Put(*this / name, text);
  }
  const FolderContents Before{{"OrvoResult.ovc", "old"},
                              {"OrvoResult.ovt", "old"},
                              {"Residuals_7_0.res", "old"},
                              {"Residuals_x_0.res", "mine"},
                              {"log.txt", "log"},
                              {"unusable/OrvoResult.ovc", "old, unusable"},
                              {"unusable/Corrections_3.txt", "old, unusable"},
                              {"unusable/notes", "mine"}};
};

/// A run with two files, with this end.
bool RunIn(const CommitFolder& folder, OutputFate fate) {
  OutputFolder outputs;
  EXPECT_EQ(outputs.Begin(folder.Path()), "");
  WriteOutput(outputs, folder / "OrvoResult.ovc", "new");
  WriteOutput(outputs, folder / "Residuals_0_0.res", "new");
  EXPECT_FALSE(std::filesystem::exists(folder / "Residuals_0_0.res"));
  return outputs.End(fate);
}

TEST(OutputFolder, WhatBecomesOfTheFiles) {
  const struct {
    OutputFate fate;
    FolderContents gone, come;
  } rows[] = {
      {OutputFate::Replace,
       {{"OrvoResult.ovt", ""}, {"Residuals_7_0.res", ""}},
       {{"OrvoResult.ovc", "new"}, {"Residuals_0_0.res", "new"}}},
      {OutputFate::Add, {}, {{"OrvoResult.ovc", "new"}, {"Residuals_0_0.res", "new"}}},
      {OutputFate::Unusable,
       {{"unusable/Corrections_3.txt", ""}},
       {{"unusable/OrvoResult.ovc", "new"}, {"unusable/Residuals_0_0.res", "new"}}},
      {OutputFate::Failed, {}, {}},
      {OutputFate::Discard, {}, {}},
  };
  for (const auto& row : rows) {
    const UsedFolder folder;
    FolderContents expected = folder.Before;
    for (const auto& [name, text] : row.gone) expected.erase(name);
    for (const auto& [name, text] : row.come) expected[name] = text;
    EXPECT_TRUE(RunIn(folder, row.fate)) << static_cast<int>(row.fate);
    EXPECT_EQ(folder.Contents(), expected) << static_cast<int>(row.fate);
  }
}

/// Whether it could be removed at once or not: then it is in the way of removing a file, being a folder.
TEST(OutputFolder, WhatWasDroppedDoesNotCome) {
  for (const bool removable : {true, false}) {
    const CommitFolder folder;
    OutputFolder outputs;
    ASSERT_EQ(outputs.Begin(folder.Path()), "");
    WriteOutput(outputs, folder / "OrvoResult.ovc", "new");
    const std::string place = outputs.PlaceOf(folder / "Residuals_0_0.res");
    if (removable) {
      std::ofstream(place) << "of the first iteration";
    } else {
      std::filesystem::create_directory(place);
    }
    outputs.Drop(folder / "Residuals_0_0.res");
    EXPECT_EQ(std::filesystem::exists(place), !removable);
    EXPECT_TRUE(outputs.End(OutputFate::Replace));
    EXPECT_EQ(folder.Contents(), (FolderContents{{"OrvoResult.ovc", "new"}}));
  }
}

TEST(OutputFolder, FolderForUnusableResultsIsMade) {
  const CommitFolder folder;
  EXPECT_TRUE(RunIn(folder, OutputFate::Unusable));
  EXPECT_EQ(folder.Contents(),
            (FolderContents{{"unusable/OrvoResult.ovc", "new"}, {"unusable/Residuals_0_0.res", "new"}}));
}

TEST(OutputFolder, OfAFailedRunOnlyWhatIsToldOfItComes) {
  const UsedFolder folder;
  FolderContents expected = folder.Before;
  expected["failed/summary.json"] = "told";
  expected["failed/report.html"] = "told";
  for (int run = 0; run < 2; ++run) {
    OutputFolder outputs;
    ASSERT_EQ(outputs.Begin(folder.Path()), "");
    WriteOutput(outputs, folder / "OrvoResult.ovc", "new");
    WriteOutput(outputs, folder / "summary.json", "told");
    WriteOutput(outputs, folder / "report.html", "told");
    EXPECT_TRUE(outputs.End(OutputFate::Failed));
    EXPECT_EQ(folder.Contents(), expected);
  }
}

TEST(OutputFolder, AnyFaultKeepsWhatWasThere) {
  const UsedFolder folder;
  OutputFolder outputs;
  ASSERT_EQ(outputs.Begin(folder.Path()), "");
  WriteOutput(outputs, folder / "OrvoResult.ovc", "new");
  outputs.Fail({folder / "OrvoResult.rst", "write", ENOSPC});
  outputs.Fail({folder / "OrvoResult.ovt", "write", EIO});
  EXPECT_FALSE(outputs.End(OutputFate::Replace));
  EXPECT_EQ(outputs.Fault().Text(), "write " + (folder / "OrvoResult.rst") + ": No space left on device");
  EXPECT_EQ(folder.Contents(), folder.Before);
}

TEST(OutputFolder, FileThatCantBeSynchronizedKeepsWhatWasThere) {
  const UsedFolder folder;
  OutputFolder outputs;
  ASSERT_EQ(outputs.Begin(folder.Path()), "");
  WriteOutput(outputs, folder / "OrvoResult.ovc", "new");
  outputs.Written(outputs.PlaceOf(folder / "OrvoResult.rst"), folder / "OrvoResult.rst");
  EXPECT_FALSE(outputs.End(OutputFate::Replace));
  EXPECT_EQ(outputs.Fault().Text(),
            "synchronize " + (folder / "OrvoResult.rst") + ": No such file or directory");
  EXPECT_EQ(folder.Contents(), folder.Before);
}

TEST(OutputFolder, UnusableFilesThatFailLeaveNoFolder) {
  const CommitFolder folder;
  OutputFolder outputs;
  ASSERT_EQ(outputs.Begin(folder.Path()), "");
  outputs.Written(outputs.PlaceOf(folder / "OrvoResult.rst"), folder / "OrvoResult.rst");
  WriteOutput(outputs, folder / "OrvoResult.ovc", "new");
  EXPECT_FALSE(outputs.End(OutputFate::Unusable));
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(OutputFolder, FinalPathsThatTakeNoFile) {
  const CommitFolder folder;
  std::filesystem::create_directory(folder / "OrvoResult.ovc");
  std::filesystem::create_symlink("/dev/null", folder / "OrvoResult.rst");
  OutputFolder outputs;
  ASSERT_EQ(outputs.Begin(folder.Path()), "");
  EXPECT_EQ(outputs.PlaceOf(folder / "OrvoResult.ovc"), "");
  EXPECT_EQ(outputs.PlaceOf(folder / "OrvoResult.rst"), "");
  EXPECT_EQ(outputs.Fault().nError, EISDIR);
  EXPECT_FALSE(outputs.End(OutputFate::Replace));
}

TEST(OutputFolder, PathsElsewhereAndBeforeBeginAreTheirOwnPlaces) {
  const CommitFolder folder;
  OutputFolder outputs;
  EXPECT_EQ(outputs.PlaceOf(folder / "a"), folder / "a");
  ASSERT_EQ(outputs.Begin(folder.Path()), "");
  EXPECT_EQ(outputs.PlaceOf("/elsewhere/a"), "/elsewhere/a");
  EXPECT_EQ(outputs.PlaceOf(folder / "deeper/a"), folder / "deeper/a");
  EXPECT_NE(outputs.PlaceOf(folder / "a"), folder / "a");
  EXPECT_EQ(outputs.PlaceOf(folder.Path() + "//a"), outputs.PlaceOf(folder / "a"));
}

TEST(OutputFolder, SecondRunIsRefused) {
  const CommitFolder folder;
  OutputFolder first, second;
  ASSERT_EQ(first.Begin(folder.Path()), "");
  const std::string refusal = second.Begin(folder.Path());
  EXPECT_NE(refusal.find("run " + std::to_string(::getpid()) + " is writing there since 2"),
            std::string::npos)
      << refusal;
  EXPECT_TRUE(first.End(OutputFate::Discard));
  EXPECT_EQ(second.Begin(folder.Path()), "");
  second.End(OutputFate::Discard);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(OutputFolder, LockAndFilesOfADeadRunStopNobody) {
  const UsedFolder folder;
  const pid_t child = ::fork();
  if (child == 0) {
    OutputFolder outputs;
    if (!outputs.Begin(folder.Path()).empty()) ::_exit(1);
    Put(outputs.PlaceOf(folder / "OrvoResult.ovc"), "torn");
    ::_exit(0);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  ASSERT_EQ(status, 0);
  EXPECT_TRUE(std::filesystem::exists(folder / kLockName));
  EXPECT_TRUE(std::filesystem::exists(folder / (kStagingPrefix + std::to_string(child) + "/OrvoResult.ovc")));
  OutputFolder outputs;
  EXPECT_EQ(outputs.Begin(folder.Path()), "");
  outputs.End(OutputFate::Discard);
  EXPECT_EQ(folder.Contents(), folder.Before);
}

TEST(OutputFolder, JournalOfADeadRunIsFinished) {
  const CommitPlan plan{CommitTarget::Results,
                        {{true, "OrvoResult.ovc"}, {true, "Residuals_7_0.res"}, {false, "OrvoResult.ovc"}}};
  for (const bool whole : {true, false}) {
    for (const bool begun : {true, false}) {
      const UsedFolder folder;
      const std::string staging = folder / (std::string(kStagingPrefix) + "1");
      Put(staging + "/OrvoResult.ovc", "new");
      const std::string text = plan.Text();
      Put(staging + "/journal", whole ? text : text.substr(0, text.size() - 3));
      std::filesystem::create_directory(staging + "/old");
      FolderContents expected = folder.Before;
      if (begun && whole) std::filesystem::rename(folder / "OrvoResult.ovc", staging + "/old/OrvoResult.ovc");
      if (whole) {
        expected["OrvoResult.ovc"] = "new";
        expected.erase("Residuals_7_0.res");
      }
      OutputFolder outputs;
      EXPECT_EQ(outputs.Begin(folder.Path()), "");
      EXPECT_TRUE(outputs.End(OutputFate::Discard));
      EXPECT_EQ(folder.Contents(), expected) << whole << begun;
    }
  }
}

TEST(OutputNames, OnlyWhatRunsWrite) {
  for (const char* name :
       {"OrvoResult.ovc", "OrvoAdjustReport.txt", "Residuals_0_0.res", "Residuals_12_345.res",
        "Corrections_9.txt", "LM_R_Vector_10.txt", "Test.txt", "verdict.txt"}) {
    EXPECT_TRUE(IsOutputName(name)) << name;
  }
  for (const char* name :
       {"", "OrvoResult.ovc2", "Residuals_0.res", "Residuals__0.res", "Residuals_0_0.res.bak",
        "Corrections_-1.txt", "Corrections_1x.txt", "log.txt", "block.prj", ".orvo.lock"}) {
    EXPECT_FALSE(IsOutputName(name)) << name;
  }
  EXPECT_TRUE(IsStagingName(".orvo-run-17"));
  EXPECT_FALSE(IsStagingName(".orvo-run-"));
  EXPECT_FALSE(IsStagingName(".orvo-run-17.zip"));
}

TEST(OutputCollision, EveryNameThroughEveryLink) {
  for (const char* name :
       {"OrvoResult.ovc", "Resampled.ovt", "Residuals_99_3.res", "Corrections_0.txt", "log.txt", ".orvo.lock",
        "verdict.txt", "unusable/OrvoResult.ovt", ".orvo-run-3/a", ".orvo-run-3/old/OrvoResult.ovc"}) {
    for (const char* kind : {"itself", "symbolic", "hard", "reached by a link"}) {
      const CommitFolder folder;
      Put(folder / "in/block", "input");
      const std::string output = folder / (std::string("out/") + name), way = kind;
      std::filesystem::create_directories(std::filesystem::path(output).parent_path());
      std::string input = folder / "in/block";
      if (way == "symbolic") {
        std::filesystem::create_symlink(input, output);
      } else if (way == "hard") {
        std::filesystem::create_hard_link(input, output);
      } else {
        std::filesystem::rename(input, output);
        if (way == "itself") input = output;
        if (way == "reached by a link") std::filesystem::create_symlink(output, input);
      }
      const auto found = FindOutputThatIsInput(folder / "out", {"", folder / "absent", input});
      ASSERT_TRUE(found) << name << " " << kind;
      EXPECT_EQ(found->szOutput, output);
      EXPECT_EQ(found->szInput, input);
    }
  }
}

TEST(OutputCollision, OtherFilesOfTheFolderMayBeInputs) {
  const UsedFolder folder;
  Put(folder / "block.prj", "input");
  EXPECT_FALSE(FindOutputThatIsInput(folder.Path(), {folder / "block.prj", folder / "Residuals_x_0.res"}));
  EXPECT_FALSE(FindOutputThatIsInput(folder / "absent", {folder / "block.prj"}));
}

}  // namespace
}  // namespace orvo::test
