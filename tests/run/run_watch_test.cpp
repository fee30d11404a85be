#include "run/RunWatch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orvo::test {
namespace {

using report::RunPhase;

/// Notes what it is told, a word for each event.
struct Listener : report::RunObserver {
  void OnPhase(RunPhase phase) override { Events.emplace_back(report::NameOf(phase)); }
  void OnCounts(const report::BlockCounts& counts, const report::RunPlan& plan) override {
    Events.push_back("counts " + std::to_string(counts.nImages) + " of " + std::to_string(plan.nMost));
  }
  void OnAdvance(int32_t iteration, double share) override {
    Events.push_back("advance " + std::to_string(iteration) + " " +
                     std::to_string(static_cast<int>(100 * share)));
  }
  void OnIteration(const report::IterationFigure& figure) override {
    Events.push_back("iteration " + std::to_string(figure.nNumber));
  }
  void OnFinding(const Finding& finding) override { Events.push_back("finding " + finding.szWhat); }
  void OnEnd(const report::RunFigures&) override { Events.emplace_back("end"); }

  std::vector<std::string> Events;
};

struct RunWatchTest : ::testing::Test {
  RunWatch Make() {
    RunOptions options;
    options.pObserver = &Told;
    return RunWatch([this] { return fNow; }, options, {});
  }

  double fNow = 1000;  ///< milliseconds
  Listener Told;
};

TEST_F(RunWatchTest, PhasesLastUntilTheNext) {
  RunWatch watch = Make();
  fNow = 1500;
  watch.Begin(RunPhase::Preparing);
  fNow = 1600;
  watch.Begin(RunPhase::Preparing);
  fNow = 2500;
  watch.Begin(RunPhase::Iterating);
  fNow = 4500;
  const struct {
    RunPhase phase;
    double seconds;
  } rows[] = {{RunPhase::Reading, 0.5}, {RunPhase::Preparing, 1}, {RunPhase::Iterating, 2}};
  const auto phases = watch.Phases();
  ASSERT_EQ(phases.size(), std::size(rows));
  for (size_t i = 0; i < phases.size(); ++i) {
    EXPECT_EQ(phases[i].Phase, rows[i].phase) << i;
    EXPECT_DOUBLE_EQ(phases[i].fSeconds, rows[i].seconds) << i;
  }
  EXPECT_DOUBLE_EQ(watch.Seconds(), 3.5);
}

TEST_F(RunWatchTest, IterationsAreNumberedAndTimed) {
  RunWatch watch = Make();
  for (int i = 0; i < 3; ++i) {
    watch.BeginIteration();
    fNow += 250 * (i + 1);
    report::IterationFigure figure;
    figure.fLargest = 10.0 / (i + 1);
    watch.EndIteration(figure);
    fNow += 5;
  }
  ASSERT_EQ(watch.Iterations().size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(watch.Iterations()[i].nNumber, static_cast<int32_t>(i) + 1);
    EXPECT_DOUBLE_EQ(watch.Iterations()[i].fSeconds, 0.25 * static_cast<double>(i + 1));
    EXPECT_DOUBLE_EQ(watch.Iterations()[i].fLargest, 10.0 / static_cast<double>(i + 1));
  }
}

TEST_F(RunWatchTest, WhoWatchesIsToldInOrder) {
  RunWatch watch = Make();
  watch.Found({Severity::Note, "", 0, -1, "left out", ""});
  report::BlockCounts counts;
  counts.nImages = 7;
  watch.NoteCounts(counts, {.nMost = 20});
  watch.Begin(RunPhase::Iterating);
  watch.BeginIteration();
  watch.Advance(0.5);
  watch.EndIteration({});
  watch.End(watch.Figures);
  EXPECT_EQ(Told.Events,
            (std::vector<std::string>{"reading", "finding left out", "counts 7 of 20", "iterating",
                                      "advance 1 0", "advance 1 50", "iteration 1", "end"}));
}

}  // namespace
}  // namespace orvo::test
