#include "whole/Timeline.h"

#include <gtest/gtest.h>

#include "support/TestFiles.h"
#include "whole/Measurement.h"

namespace orvo::bench {
namespace {

using Kind = ProcessEvent::Kind;

const PhaseTime* Find(const Timeline& timeline, const std::string& name) {
  for (const PhaseTime& phase : timeline.Phases) {
    if (phase.szName == name) return &phase;
  }
  return nullptr;
}

/// Wall time of a phase in seconds, -1 where it does not occur.
double Wall(const Timeline& timeline, const std::string& name) {
  const PhaseTime* phase = Find(timeline, name);
  return phase ? phase->fWall : -1;
}

/// A run of two iterations; processor time goes at half the speed of the wall.
std::vector<ProcessEvent> SparseRun() {
  std::vector<ProcessEvent> events;
  const auto at = [&](double wall, Kind kind, const char* text) {
    events.push_back({wall, wall / 2, kind, text});
  };
  at(1, Kind::Line, ">>Pre-reading data...");
  at(1, Kind::FileOpened, "log.txt");
  at(2, Kind::Line, ">>Reading eop and camera data from project file...");
  at(3, Kind::Line, ">>Reampling image point data...");
  at(5, Kind::Line, ">>Computing sub-matrix position...");
  double t = 10;
  for (const char* listing : {"Residuals_0_0.res", "Residuals_1_0.res"}) {
    at(t, Kind::Line, ">>>>Computing tie point 3D coordinates 0 0...");
    at(t + 1, Kind::Line, ">>>>Building normal equation 0 0...");
    at(t + 1, Kind::Line, "Sub task 0: 0/9 0/9 0/99 0/99");
    at(t + 4, Kind::Line, "Sub task 0 completed");
    at(t + 5, Kind::Line, "Sub task 1 completed");
    at(t + 6, Kind::FileOpened, listing);
    at(t + 8, Kind::FileClosed, listing);
    at(t + 9, Kind::Line, ">>>>Adding damping coefficients 0...");
    at(t + 10, Kind::Line, ">>>>Solving normal equation and update unknowns 0...");
    at(t + 11, Kind::Line, ">>Matrix vector R 1.0\t 2.0\t 3.0\t 4.0\t 5.0\t 0.1");
    at(t + 12, Kind::Line, ">>PCG Iteration times:17");
    at(t + 12.5, Kind::FileOpened, "Corrections_0.txt");
    at(t + 12.75, Kind::FileClosed, "Corrections_0.txt");
    at(t + 13, Kind::Line, ">>-0.250000\t0.000400\t0.000300");
    t += 14;
  }
  at(t, Kind::Line, ">>Unnormalizing data...");
  at(t + 1, Kind::Line, ">>Out put resut file...");
  at(t + 2, Kind::Line, ">>Out put adjustment report...");
  at(t + 3, Kind::Line, ">>Out put points data...");
  at(t + 4, Kind::Line, ">>Elapsed time:9.000000s");
  at(t + 5, Kind::FileClosed, "log.txt");
  return events;
}

TEST(Timeline, EachPhaseLastsUntilTheNext) {
  const Timeline timeline = ReadTimeline(SparseRun(), 44, 22);
  const std::pair<const char*, double> expected[] = {
      {"start", 1},           {"pre-read", 1},  {"read images", 1},   {"thin", 2},
      {"pattern", 5},         {"intersect", 2}, {"assemble", 6},      {"merge", 2 + 2 + 2},
      {"listing", 4},         {"damp", 2},      {"solve", 4},         {"update", 2},
      {"renew equations", 2}, {"restore", 1},   {"write results", 1}, {"write report", 1},
      {"write ovt", 1},       {"exit", 2}};
  double sum = 0;
  for (const auto& [name, wall] : expected) {
    EXPECT_DOUBLE_EQ(Wall(timeline, name), wall) << name;
    sum += wall;
  }
  EXPECT_DOUBLE_EQ(sum, 44);
  EXPECT_EQ(timeline.Phases.size(), std::size(expected));
  EXPECT_EQ(Find(timeline, "assemble")->nCount, 2);
  EXPECT_DOUBLE_EQ(Find(timeline, "assemble")->fCpu, 3);
}

TEST(Timeline, IterationsEndWithTheirCorrection) {
  const Timeline timeline = ReadTimeline(SparseRun(), 44, 22);
  ASSERT_EQ(timeline.Iterations.size(), 2u);
  // The second one also renews the equations; the preparation belongs to none.
  EXPECT_DOUBLE_EQ(timeline.Iterations[0].fWall, 13);
  EXPECT_DOUBLE_EQ(timeline.Iterations[1].fWall, 14);
  EXPECT_DOUBLE_EQ(timeline.Iterations[1].fCpu, 7);
  EXPECT_DOUBLE_EQ(timeline.Iterations[1].fListingWall, 2);
  EXPECT_EQ(timeline.Iterations[0].nPcgIterations, 17);
  EXPECT_EQ(timeline.Iterations[0].fLargest, -0.25);
  EXPECT_EQ(timeline.Iterations[0].fRmsX, 0.0004);
  EXPECT_EQ(timeline.Iterations[0].fRmsY, 0.0003);
}

TEST(Timeline, FilesOfAllIterationsCountTogether) {
  const Timeline timeline = ReadTimeline(SparseRun(), 44, 22);
  ASSERT_EQ(timeline.Files.size(), 3u);
  // Made anew by the second iteration.
  EXPECT_EQ(timeline.Files[0].szName, "Corrections_*.txt");
  EXPECT_EQ(timeline.Files[0].nCount, 2);
  EXPECT_DOUBLE_EQ(timeline.Files[0].fWall, 0.5);
  EXPECT_EQ(timeline.Files[1].szName, "Residuals_*_*.res");
  EXPECT_EQ(timeline.Files[1].nCount, 2);
  EXPECT_DOUBLE_EQ(timeline.Files[1].fWall, 4);
  EXPECT_EQ(timeline.Files[2].szName, "log.txt");
}

TEST(Timeline, TheDenseUpdateBeginsWithItsFiles) {
  const std::vector<ProcessEvent> events = {
      {1, 1, Kind::Line, ">>>>Computing tie point 3D coordinates 0 0..."},
      {2, 2, Kind::Line, ">>>>Solving normal equation and update unknowns 0..."},
      {5, 5, Kind::FileOpened, "LM_R_Vector_0.txt"},
      {6, 6, Kind::FileClosed, "LM_R_Vector_0.txt"},
      {6, 6, Kind::FileOpened, "Corrections_0.txt"},
      {7, 7, Kind::Line, ">>0.1\t0.2\t0.3"}};
  const Timeline timeline = ReadTimeline(events, 8, 8);
  EXPECT_DOUBLE_EQ(Wall(timeline, "solve"), 3);
  EXPECT_DOUBLE_EQ(Wall(timeline, "update"), 2);
}

TEST(Timeline, AListingBesideOtherStepsIsNoPhase) {
  const std::vector<ProcessEvent> events = {
      {1, 1, Kind::Line, "Sub task 0 completed"},
      {2, 2, Kind::Line, ">>>>Adding damping coefficients 0..."},
      {3, 3, Kind::FileOpened, "Residuals_0_0.res"},
      {4, 4, Kind::Line, ">>>>Solving normal equation and update unknowns 0..."},
      {6, 6, Kind::FileClosed, "Residuals_0_0.res"}};
  const Timeline timeline = ReadTimeline(events, 7, 7);
  EXPECT_EQ(Wall(timeline, "listing"), -1);
  EXPECT_DOUBLE_EQ(Wall(timeline, "damp"), 2);
  EXPECT_DOUBLE_EQ(Wall(timeline, "solve"), 3);
  ASSERT_EQ(timeline.Files.size(), 1u);
  EXPECT_DOUBLE_EQ(timeline.Files[0].fWall, 3);
}

TEST(Timeline, NothingSaidIsOnePhase) {
  const Timeline timeline = ReadTimeline({}, 3, 2);
  ASSERT_EQ(timeline.Phases.size(), 1u);
  EXPECT_DOUBLE_EQ(timeline.Phases[0].fWall, 3);
  EXPECT_DOUBLE_EQ(timeline.Phases[0].fCpu, 2);
  EXPECT_TRUE(timeline.Iterations.empty());
}

TEST(Timeline, NumbersInFileNames) {
  EXPECT_EQ(WithoutNumbers("Residuals_12_0.res"), "Residuals_*_*.res");
  EXPECT_EQ(WithoutNumbers("log.txt"), "log.txt");
}

TEST(Measurement, KeepsTheLeastOfEachFigure) {
  ProcessFigures slow, fast;
  slow.fWall = 3;
  slow.fUser = 1;
  slow.nPeakBytes = 100;
  fast.fWall = 2;
  fast.fUser = 1.5;
  fast.nPeakBytes = 120;
  Measurement measurement;
  AddRun(measurement, slow, "/nowhere");
  AddRun(measurement, fast, "/nowhere");
  EXPECT_EQ(measurement.fWall, 2);
  EXPECT_EQ(measurement.fCpu, 1);
  EXPECT_EQ(measurement.nPeakBytes, 100);
  EXPECT_EQ(measurement.nRepeats, 2);
  EXPECT_FALSE(measurement.nInstructions);
}

TEST(Measurement, KeepsTheFilesThatAreThereAtTheEnd) {
  const test::ScratchFolder folder;
  test::WriteFile(folder / "Residuals_0_0.res", "12345");
  test::WriteFile(folder / "Residuals_1_0.res", "123");
  ProcessFigures figures;
  figures.fWall = 9;
  double t = 1;
  for (const char* name : {"Residuals_0_0.res", "Residuals_1_0.res", "journal.new"}) {
    figures.Events.push_back({t++, 0, Kind::FileOpened, name});
    figures.Events.push_back({t++, 0, Kind::FileClosed, name});
  }
  Measurement measurement;
  AddRun(measurement, figures, folder.Path());
  ASSERT_EQ(measurement.Files.size(), 1u);
  EXPECT_EQ(measurement.Files[0].Time.szName, "Residuals_*_*.res");
  EXPECT_EQ(measurement.Files[0].Time.nCount, 2);
  EXPECT_EQ(measurement.Files[0].nBytes, 8);
  EXPECT_DOUBLE_EQ(measurement.Files[0].Time.fWall, 2);
}

}  // namespace
}  // namespace orvo::bench
