#include "whole/MeasuredProcess.h"

#include <gtest/gtest.h>

#include "support/TestFiles.h"

namespace orvo::bench {
namespace {

ProcessFigures Shell(const std::string& script, const std::string& folder = "") {
  ProcessCommand command;
  command.pArguments = {"/bin/sh", "-c", script};
  command.szWatchedFolder = folder;
  return RunMeasured(command);
}

TEST(MeasuredProcess, TakesTheTimeOfEachLine) {
  const ProcessFigures figures = Shell("echo one; sleep 0.2; printf 'two\\nthree'");
  ASSERT_TRUE(figures.bStarted);
  EXPECT_EQ(figures.nExitCode, 0);
  ASSERT_EQ(figures.Events.size(), 3u);
  EXPECT_EQ(figures.Events[0].szText, "one");
  EXPECT_EQ(figures.Events[1].szText, "two");
  EXPECT_EQ(figures.Events[2].szText, "three");
  EXPECT_GE(figures.Events[1].fWall - figures.Events[0].fWall, 0.19);
  EXPECT_LE(figures.Events[2].fWall, figures.fWall);
}

TEST(MeasuredProcess, TakesProcessorTimeWithoutThatOfSleep) {
  const ProcessFigures figures =
      Shell("echo a; sleep 0.2; echo b; i=0; while [ $i -lt 100000 ]; do i=$((i + 1)); done; echo c");
  ASSERT_EQ(figures.Events.size(), 3u);
  const double asleep = figures.Events[1].fCpu - figures.Events[0].fCpu;
  const double awake = figures.Events[2].fCpu - figures.Events[1].fCpu;
  EXPECT_LT(asleep, 0.1);
  EXPECT_GT(awake, asleep);
  EXPECT_NEAR(figures.Events[2].fCpu, figures.Cpu(), 0.05);
  EXPECT_GT(figures.nPeakBytes, 100000);
}

TEST(MeasuredProcess, SeesFilesOfTheFolder) {
  const test::ScratchFolder folder;
  const ProcessFigures figures = Shell("echo x > " + (folder / "a.txt") + "; echo done", folder.Path());
  ASSERT_EQ(figures.Events.size(), 3u);
  EXPECT_EQ(figures.Events[0].eKind, ProcessEvent::Kind::FileOpened);
  EXPECT_EQ(figures.Events[1].eKind, ProcessEvent::Kind::FileClosed);
  EXPECT_EQ(figures.Events[1].szText, "a.txt");
  EXPECT_EQ(figures.Events[2].szText, "done");
}

TEST(MeasuredProcess, SeesFilesOfAFolderMadeThereButNoHiddenOnes) {
  const test::ScratchFolder folder;
  const std::string made = folder / ".staged";
  const ProcessFigures figures = Shell(
      "mkdir " + made + "; sleep 0.2; echo x > " + made + "/b.txt; echo y > " + made + "/.lock; mkdir " +
          made + "/old; sleep 0.2; echo z > " + made + "/old/c.txt; mv " + made + "/b.txt " + folder.Path(),
      folder.Path());
  ASSERT_EQ(figures.Events.size(), 2u);
  EXPECT_EQ(figures.Events[0].eKind, ProcessEvent::Kind::FileOpened);
  EXPECT_EQ(figures.Events[1].eKind, ProcessEvent::Kind::FileClosed);
  EXPECT_EQ(figures.Events[1].szText, "b.txt");
}

TEST(MeasuredProcess, PassesVariablesOn) {
  ProcessCommand command;
  command.pArguments = {"/bin/sh", "-c", "echo $ORVO_BENCH_TEST"};
  command.pVariables = {{"ORVO_BENCH_TEST", "value"}};
  const ProcessFigures figures = RunMeasured(command);
  ASSERT_EQ(figures.Events.size(), 1u);
  EXPECT_EQ(figures.Events[0].szText, "value");
}

TEST(MeasuredProcess, TellsHowItEnded) {
  EXPECT_EQ(Shell("exit 3").nExitCode, 3);
  EXPECT_EQ(Shell("kill -9 $$").nExitCode, -1);
  EXPECT_FALSE(RunMeasured({}).bStarted);
  ProcessCommand missing;
  missing.pArguments = {"/nowhere/at/all"};
  EXPECT_FALSE(RunMeasured(missing).bStarted);
}

}  // namespace
}  // namespace orvo::bench
