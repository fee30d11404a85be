// One line of a terminal that is rewritten while a run goes on.
#pragma once

#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "report/console/TimeLeft.h"

namespace orvo::report {

/// What the line tells.
struct ProgressState {
  RunPhase Phase = RunPhase::Reading;
  int32_t nIteration = 0;  ///< in hand, from 1; 0: none
  int32_t nMost = 0;       ///< iterations at most; 0: not known
  double fShare = 0;       ///< of the whole run
  std::optional<double> fSecondsLeft;
};

/// "45 s", "3 min 20 s", "1 h 05 min".
std::string DurationText(double seconds);
/// The line for a terminal of this many columns, one of them left free. What does not fit is left out: first
/// the bar becomes short, then it goes, then the words behind it.
std::string ProgressText(const ProgressState& state, int width);

/// The columns of a terminal; 80 where it does not say.
int TerminalWidth(std::FILE* terminal);

/// Draws to `terminal`, at most ten times a second but for new phases and behind lines of others. Whoever
/// prints another line on it calls
/// Hide before and Show behind. Hide, Show and Close may be called from any thread.
class ProgressBar final : public RunObserver {
 public:
  /// @param seconds  since the begin of the run
  /// @param width    columns of the terminal, asked for every line
  ProgressBar(std::FILE* terminal, std::function<double()> seconds, std::function<int()> width);
  ~ProgressBar() override;
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void OnPhase(RunPhase phase) override;
  void OnCounts(const BlockCounts& counts, const RunPlan& plan) override;
  void OnAdvance(int32_t iteration, double share) override;
  void OnIteration(const IterationFigure& figure) override;
  void OnEnd(const RunFigures& figures) override;

  void Hide();
  void Show();
  /// Hides it for good.
  void Close();

 private:
  void Draw(bool now);
  void Erase();

  std::FILE* fTerminal;
  std::function<double()> Seconds;
  std::function<int()> Width;
  std::recursive_mutex Mutex;
  TimeLeft Left;
  ProgressState State;
  bool bDrawn = false, bHidden = false, bClosed = false;
  double fLastDrawn = -1;
};

}  // namespace orvo::report
