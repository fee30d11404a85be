// What people see of a run while it goes on.
#pragma once

#include <cstdio>
#include <string>

#include "report/RunObserver.h"
#include "report/console/Ink.h"
#include "report/console/ProgressBar.h"

namespace orvo::report {

/// Where the texts go. Each is on its way when it is told.
struct ConsoleStreams {
  std::FILE* fOut = stdout;     ///< what was read, the table, the summary, the verdict
  std::FILE* fErr = stderr;     ///< findings and what else went wrong
  ProgressBar* pBar = nullptr;  ///< on the same terminal; hidden while a text is written
};

/// A text to one of the streams, the bar hidden meanwhile. A stream that can't be written is left as it is.
void Tell(const ConsoleStreams& streams, std::FILE* stream, const std::string& text);

/// Counts, a line an iteration, and the summary go to fOut, findings to fErr.
class ConsoleView final : public RunObserver {
 public:
  /// @param quiet     nothing goes to fOut
  /// @param findings  false: somebody else tells them
  ConsoleView(const ConsoleStreams& streams, bool quiet, bool findings = true);

  void OnCounts(const BlockCounts& counts, const RunPlan& plan) override;
  void OnIteration(const IterationFigure& figure) override;
  void OnFinding(const Finding& finding) override;
  /// Keeps the summary for TellSummary: the run still has to put its files in place.
  void OnEnd(const RunFigures& figures) override;

  /// The summary of a run that came to its end; nothing without one.
  void TellSummary();

 private:
  void TellOut(const std::string& text);

  ConsoleStreams Streams;
  bool bQuiet, bFindings;
  bool bHeadTold = false;
  std::string szSummary;
};

}  // namespace orvo::report
