// The course of a guarded run: its phases and iterations, remembered for its report and told to who watches.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "report/FigurePass.h"
#include "run/EntryPoint.h"
#include "run/TableOutput.h"

namespace orvo {

class RunWatch {
 public:
  /// `tick`: milliseconds, monotonic.
  RunWatch(std::function<double()> tick, const RunOptions& options, const RunPaths& paths);

  /// From here on this phase lasts.
  void Begin(report::RunPhase phase);
  /// The block is read. See RunObserver::OnCounts.
  void NoteCounts(const report::BlockCounts& counts, const report::RunPlan& plan);
  void BeginIteration();
  /// The iteration in hand has come so far, 0 to 1.
  void Advance(double share);
  /// Number and seconds are filled in here.
  void EndIteration(report::IterationFigure figure);
  void Found(const Finding& finding);
  void End(const report::RunFigures& figures);

  /// Until now.
  std::vector<report::PhaseFigure> Phases() const;
  double Seconds() const { return (Tick() - fBegin) / 1000; }
  const std::vector<report::IterationFigure>& Iterations() const { return vIterations; }

  const RunPaths Read;  ///< as the command line names them
  const ReportChoice Choice;
  const DeviceChoice At;
  std::vector<report::SettingFigure> vMethodSettings;  ///< of a method with settings of its own
  report::RunFigures Figures;                          ///< as far as they are known
  std::optional<report::FigurePass> Pass;              ///< while it goes on
  std::unique_ptr<TableOutput> pTables;                ///< likewise; null where none is wanted

 private:
  std::function<double()> Tick;
  report::RunObserver* pObserver;
  double fBegin, fPhaseBegin, fIterationBegin = 0;
  report::RunPhase Phase = report::RunPhase::Reading;
  std::vector<report::PhaseFigure> vPhases;  ///< that have ended
  std::vector<report::IterationFigure> vIterations;
};

}  // namespace orvo
