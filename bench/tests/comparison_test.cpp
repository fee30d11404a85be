#include "report/Comparison.h"

#include <gtest/gtest.h>

#include "MadeUpResults.h"

namespace orvo::bench {
namespace {

const Results kOld = MadeUpResults({"old"}, {MadeUpRun("1/a", "old", 2), MadeUpRun("1/b", "old", 1)});
const Results kNew = MadeUpResults({"new"}, {MadeUpRun("1/a", "new", 1), MadeUpRun("1/c", "new", 1)});

Comparison Compared(const Results& before, const Results& after, bool phases = false,
                    std::optional<double> worse = {}) {
  return Compare(FirstSide(before), FirstSide(after), phases, worse);
}

TEST(Comparison, ShowsOldNewAndGain) {
  const Comparison comparison = Compared(kOld, kNew);
  EXPECT_EQ(ComparisonText(comparison),
            "figure                                                old          new     gain\n"
            "1/a cpu                                       2000.000 ms  1000.000 ms     2.00\n"
            "1/a wall                                      4000.000 ms  2000.000 ms     2.00\n"
            "1/a iteration cpu                              200.000 ms   100.000 ms     2.00\n"
            "1/a peak                                         8.000 MB     8.000 MB     1.00\n"
            "1/b cpu: only in the old one\n"
            "1/b wall: only in the old one\n"
            "1/b iteration cpu: only in the old one\n"
            "1/b peak: only in the old one\n"
            "1/c cpu: only in the new one\n"
            "1/c wall: only in the new one\n"
            "1/c iteration cpu: only in the new one\n"
            "1/c peak: only in the new one\n");
  EXPECT_FALSE(comparison.IsAnyWorse());
}

TEST(Comparison, ShowsPhasesWhenAskedTo) {
  const std::string line =
      "1/a  solve                                    1000.000 ms   500.000 ms     2.00\n";
  EXPECT_NE(ComparisonText(Compared(kOld, kNew, true)).find(line), std::string::npos);
  EXPECT_EQ(ComparisonText(Compared(kOld, kNew, false)).find("solve"), std::string::npos);
}

TEST(Comparison, IsWorseBeyondAFactor) {
  struct Case {
    double fCpu, fWall;
    int64_t nPeak;
    double fWorse;
    std::vector<std::string> pWorse;
  };
  const Measurement base = MadeUpRun("1/a", "old", 1);
  const Case cases[] = {
      {2, 2, 8000000, 1.5, {"1/a cpu", "1/a iteration cpu"}},
      {2, 2, 8000000, 2.0, {}},
      {2, 2, 8000000, 2.5, {}},
      {1, 9, 8000000, 1.5, {}},  // wall time is others' matter
      {1, 2, 9000000, 1.1, {"1/a peak"}},
      {0.5, 1, 4000000, 1.0, {}},
  };
  for (const Case& given : cases) {
    Measurement run = MadeUpRun("1/a", "new", given.fCpu, given.nPeak);
    run.fWall = given.fWall;
    const Comparison comparison =
        Compared(MadeUpResults({"old"}, {base}), MadeUpResults({"new"}, {run}), false, given.fWorse);
    std::vector<std::string> worse;
    for (const ComparedFigure& figure : comparison.Figures) {
      if (figure.bWorse) worse.push_back(figure.szName);
    }
    EXPECT_EQ(worse, given.pWorse) << given.fCpu << " " << given.fWorse;
    EXPECT_EQ(comparison.IsAnyWorse(), !given.pWorse.empty());
    EXPECT_EQ(ComparisonText(comparison).find("  worse\n") != std::string::npos, !given.pWorse.empty());
  }
}

TEST(Comparison, ComparesInstructionsWhereBothWereCounted) {
  Results old = kOld, now = kNew;
  now.Runs[0].nInstructions = 3000000;
  EXPECT_EQ(Compared(old, now).pOnlyNew.front(), "1/a instructions");
  old.Runs[0].nInstructions = 6000000;
  const std::string line =
      "1/a instructions                                 6.000 M      3.000 M      2.00\n";
  EXPECT_NE(ComparisonText(Compared(old, now)).find(line), std::string::npos);
}

TEST(Comparison, OfOneFileTheFirstProgramIsTheNewOne) {
  const Results both =
      MadeUpResults({"here", "there"}, {MadeUpRun("1/a", "here", 1), MadeUpRun("1/a", "there", 3)});
  ComparedSide before, after;
  std::string error;
  ASSERT_TRUE(SidesOfOne(both, before, after, error));
  const Comparison comparison = Compare(before, after, false, {});
  EXPECT_EQ(comparison.szOld, "there");
  EXPECT_EQ(comparison.Figures[0].fOld, 3000);
  EXPECT_EQ(comparison.Figures[0].fNew, 1000);
  EXPECT_FALSE(SidesOfOne(kOld, before, after, error));
  EXPECT_EQ(error, "one program only: name a second file");
}

TEST(Comparison, OfKernelsTheProcessorTimeCounts) {
  Results slow, fast;
  slow.Kernels = {{"Multiply", 9e-4, 4e-4, 0, 0}};
  fast.Kernels = {{"Multiply", 1e-4, 1e-4, 0, 0}};
  EXPECT_EQ(ComparisonText(Compared(slow, fast)),
            "figure                                                old          new     gain\n"
            "Multiply                                         0.400 ms     0.100 ms     4.00\n");
  EXPECT_TRUE(Compared(fast, slow, false, 1.5).IsAnyWorse());
  EXPECT_TRUE(Compared(slow, kNew).Figures.empty());
}

}  // namespace
}  // namespace orvo::bench
