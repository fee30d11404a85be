#include "report/console/ConsoleView.h"

#include "report/console/RunTables.h"

namespace orvo::report {

void Tell(const ConsoleStreams& streams, std::FILE* stream, const std::string& text) {
  if (streams.pBar != nullptr) streams.pBar->Hide();
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
  if (streams.pBar != nullptr) streams.pBar->Show();
}

ConsoleView::ConsoleView(const ConsoleStreams& streams, bool quiet, bool findings)
    : Streams(streams), bQuiet(quiet), bFindings(findings) {}

void ConsoleView::TellOut(const std::string& text) {
  if (!bQuiet && !text.empty()) Tell(Streams, Streams.fOut, text);
}

void ConsoleView::OnCounts(const BlockCounts& counts, const RunPlan& /*plan*/) {
  TellOut(CountsText(counts) + "\n");
}

void ConsoleView::OnIteration(const IterationFigure& figure) {
  TellOut((bHeadTold ? "" : IterationHead()) + IterationLine(figure));
  bHeadTold = true;
}

void ConsoleView::OnFinding(const Finding& finding) {
  if (bFindings) Tell(Streams, Streams.fErr, InkOf(Streams.fErr).FindingText(finding) + "\n");
}

void ConsoleView::OnEnd(const RunFigures& figures) {
  szSummary = figures.bDone ? "\n" + SummaryText(figures) : std::string();
}

void ConsoleView::TellSummary() {
  TellOut(szSummary);
  szSummary.clear();
}

}  // namespace orvo::report
