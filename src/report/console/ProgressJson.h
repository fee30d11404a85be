// The events of a run for other programs: a line of JSON each.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

#include "report/console/TimeLeft.h"

namespace orvo::report {

/// The form of the lines; docs/console.md says what is in them. A number that is none is null, a byte that is
/// no UTF-8 the sign of replacement, and a line holds ASCII only.
inline constexpr int kProgressVersion = 1;

class ProgressJson final : public RunObserver {
 public:
  /// @param seconds  since the begin of the run
  ProgressJson(std::FILE* stream, std::function<double()> seconds);

  /// The first line.
  void OnBegin();
  void OnPhase(RunPhase phase) override;
  void OnCounts(const BlockCounts& counts, const RunPlan& plan) override;
  void OnAdvance(int32_t iteration, double share) override;
  void OnIteration(const IterationFigure& figure) override;
  void OnFinding(const Finding& finding) override;
  void OnEnd(const RunFigures& figures) override;

  /// A message of the system that tells of trouble.
  void OnMessage(const std::string& text);
  /// Why a run ended early, or was refused.
  void OnFailure(const std::string& message);
  /// The last line. `verdict`: null where nothing was judged.
  void OnExit(const Verdict* verdict, int code);

 private:
  std::FILE* fStream;
  std::function<double()> Seconds;
  TimeLeft Left;
  double fLastAdvance = -1;
  int32_t nLastIteration = 0;
  double fLastShare = 0;
};

}  // namespace orvo::report
