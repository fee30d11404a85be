#include "run/RunWatch.h"

#include <utility>

namespace orvo {

RunWatch::RunWatch(std::function<double()> tick, const RunOptions& options, const RunPaths& paths)
    : Read(paths),
      Choice(options.Report),
      At(options.At),
      Tick(std::move(tick)),
      pObserver(options.pObserver),
      fBegin(Tick()),
      fPhaseBegin(fBegin) {
  if (pObserver != nullptr) pObserver->OnPhase(Phase);
}

void RunWatch::Begin(report::RunPhase phase) {
  if (phase == Phase) return;
  const double now = Tick();
  vPhases.push_back({Phase, (now - fPhaseBegin) / 1000});
  Phase = phase;
  fPhaseBegin = now;
  if (pObserver != nullptr) pObserver->OnPhase(phase);
}

void RunWatch::NoteCounts(const report::BlockCounts& counts, const report::RunPlan& plan) {
  if (pObserver != nullptr) pObserver->OnCounts(counts, plan);
}

void RunWatch::BeginIteration() {
  fIterationBegin = Tick();
  Advance(0);
}

void RunWatch::Advance(double share) {
  if (pObserver != nullptr) pObserver->OnAdvance(static_cast<int32_t>(vIterations.size()) + 1, share);
}

void RunWatch::EndIteration(report::IterationFigure figure) {
  figure.nNumber = static_cast<int32_t>(vIterations.size()) + 1;
  figure.fSeconds = (Tick() - fIterationBegin) / 1000;
  vIterations.push_back(figure);
  if (pObserver != nullptr) pObserver->OnIteration(figure);
}

void RunWatch::Found(const Finding& finding) {
  if (pObserver != nullptr) pObserver->OnFinding(finding);
}

void RunWatch::End(const report::RunFigures& figures) {
  if (pObserver != nullptr) pObserver->OnEnd(figures);
}

std::vector<report::PhaseFigure> RunWatch::Phases() const {
  std::vector<report::PhaseFigure> phases = vPhases;
  phases.push_back({Phase, (Tick() - fPhaseBegin) / 1000});
  return phases;
}

}  // namespace orvo
