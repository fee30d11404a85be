// The line that is rewritten, by width and by time.
#include <gtest/gtest.h>

#include "report/console/ConsoleView.h"
#include "support/Console.h"

namespace orvo::test {
namespace {

using namespace report;

TEST(DurationText, TellsTwoUnits) {
  const struct {
    double fSeconds;
    const char* szText;
  } rows[] = {{0, "0 s"},
              {-5, "0 s"},
              {0.4, "0 s"},
              {59.4, "59 s"},
              {59.6, "1 min 00 s"},
              {200, "3 min 20 s"},
              {3599.6, "1 h 00 min"},
              {3900, "1 h 05 min"},
              {1e300, "888888 h 53 min"}};
  for (const auto& row : rows) EXPECT_EQ(DurationText(row.fSeconds), row.szText) << row.fSeconds;
}

TEST(ProgressText, FitsTheTerminal) {
  const ProgressState state{RunPhase::Iterating, 4, 20, 0.43, 200.0};
  EXPECT_EQ(ProgressText(state, 80),
            "iterating 4 of at most 20  [###########---------------]   43 %  3 min 20 s left");
  EXPECT_EQ(ProgressText(state, 200), ProgressText(state, 83));
  for (int width = 0; width <= 100; ++width) {
    const std::string text = ProgressText(state, width);
    EXPECT_LE(static_cast<int>(text.size()), std::max(width - 1, 0)) << width;
    EXPECT_EQ(text.substr(0, 25) == "iterating 4 of at most 20", width >= 26) << width;
    EXPECT_EQ(text.find("43 %") != std::string::npos, width >= 33) << width;
    EXPECT_EQ(text.find("3 min 20 s left") != std::string::npos, width >= 50) << width;
    EXPECT_EQ(text.find('#') != std::string::npos, width >= 62) << width;
  }
}

TEST(ProgressText, TellsWhatIsKnown) {
  EXPECT_EQ(ProgressText({RunPhase::Reading, 0, 0, 0, {}}, 80),
            "reading  [----------------------------]    0 %");
  EXPECT_EQ(ProgressText({RunPhase::Iterating, 1, 0, 0.02, {}}, 30), "iterating 1    2 %");
  EXPECT_EQ(ProgressText({RunPhase::Writing, 0, 20, 1.5, 0.0}, 20), "writing  100 %");
}

/// A bar with a clock that is set by hand.
struct Drawn {
  Console Terminal;
  double fNow = 0;
  ProgressBar Bar{Terminal.Stream(), [this] { return fNow; }, [] { return 40; }};

  size_t Rewrites() {
    size_t num = 0;
    for (const char c : Terminal.Text()) num += c == '\r';
    return num;
  }
};

TEST(ProgressBar, RewritesTenTimesASecond) {
  Drawn drawn;
  drawn.Bar.OnPhase(RunPhase::Iterating);
  for (int i = 0; i <= 2000; ++i) {
    drawn.fNow = i * 0.001;
    drawn.Bar.OnAdvance(1, i / 2000.0);
  }
  EXPECT_GE(drawn.Rewrites(), 19u);
  EXPECT_LE(drawn.Rewrites(), 22u);
  EXPECT_EQ(drawn.Terminal.Text().find('\n'), std::string::npos);
}

TEST(ProgressBar, IsGoneWhileOthersPrint) {
  Drawn drawn;
  Console out;
  const ConsoleStreams streams{drawn.Terminal.Stream(), drawn.Terminal.Stream(), &drawn.Bar};
  drawn.Bar.OnPhase(RunPhase::Reading);
  const std::string line = "\rreading  [---------------------]    0 %\033[K";
  EXPECT_EQ(drawn.Terminal.Text(), line);
  Tell(streams, streams.fErr, "a line\n");
  EXPECT_EQ(drawn.Terminal.Text(), line + "\r\033[Ka line\n" + line);
  drawn.Bar.Close();
  EXPECT_EQ(drawn.Terminal.Text(), line + "\r\033[Ka line\n" + line + "\r\033[K");
  drawn.Bar.OnPhase(RunPhase::Writing);
  Tell(streams, streams.fErr, "the last\n");
  EXPECT_EQ(drawn.Terminal.Text(), line + "\r\033[Ka line\n" + line + "\r\033[Kthe last\n");
}

TEST(ProgressBar, IsNotThereBeforeAPhase) {
  Drawn drawn;
  Tell({drawn.Terminal.Stream(), drawn.Terminal.Stream(), &drawn.Bar}, drawn.Terminal.Stream(), "first\n");
  drawn.Bar.Close();
  EXPECT_EQ(drawn.Terminal.Text(), "first\n");
}

TEST(ProgressBar, CountsTheIterationInHand) {
  Drawn drawn;
  drawn.Bar.OnCounts({}, {.nMost = 2});
  drawn.Bar.OnPhase(RunPhase::Iterating);
  EXPECT_NE(drawn.Terminal.Text().find("\riterating 1 of at most 2"), std::string::npos);
  IterationFigure figure;
  figure.nNumber = 1;
  figure.fLargest = 1;
  drawn.fNow = 1;
  drawn.Bar.OnIteration(figure);
  EXPECT_NE(drawn.Terminal.Text().find("\riterating 2 of at most 2"), std::string::npos);
  figure.nNumber = 2;
  drawn.fNow = 2;
  drawn.Bar.OnIteration(figure);
  EXPECT_EQ(drawn.Terminal.Text().find("iterating 3"), std::string::npos);
}

TEST(ConsoleView, QuietTellsFindingsOnly) {
  for (const bool quiet : {false, true}) {
    Console out, err;
    ConsoleView view({out.Stream(), err.Stream(), nullptr}, quiet);
    view.OnCounts({}, {.nMost = 20});
    view.OnFinding({Severity::Note, "f", 0, -1, "x", ""});
    IterationFigure figure;
    figure.nNumber = 7;
    view.OnIteration(figure);
    view.OnIteration(figure);
    RunFigures figures;
    figures.bDone = true;
    view.OnEnd(figures);
    const std::string before = out.Text();
    view.TellSummary();
    EXPECT_EQ(err.Text(), "f: note: x.\n");
    EXPECT_EQ(out.Text().empty(), quiet);
    if (quiet) continue;
    EXPECT_NE(before.find("images"), std::string::npos);
    EXPECT_EQ(before.find("iteration "), before.rfind("iteration ")) << "one head only";
    EXPECT_EQ(before.find("iterations  "), std::string::npos) << "the summary has to wait";
    EXPECT_NE(out.Text().find("iterations  "), std::string::npos);
  }
}

TEST(ConsoleView, AFailedRunHasNoSummary) {
  Console out;
  ConsoleView view({out.Stream(), out.Stream(), nullptr}, false);
  view.OnEnd(RunFigures());
  view.TellSummary();
  EXPECT_EQ(out.Text(), "");
}

}  // namespace
}  // namespace orvo::test
