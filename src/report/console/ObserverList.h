// Several who watch one run.
#pragma once

#include <vector>

#include "report/RunObserver.h"

namespace orvo::report {

/// Passes every event on to all, in the order in which they were added. They outlive the list.
class ObserverList final : public RunObserver {
 public:
  void Add(RunObserver& observer) { vAll.push_back(&observer); }

  void OnPhase(RunPhase phase) override {
    for (RunObserver* one : vAll) one->OnPhase(phase);
  }
  void OnCounts(const BlockCounts& counts, const RunPlan& plan) override {
    for (RunObserver* one : vAll) one->OnCounts(counts, plan);
  }
  void OnAdvance(int32_t iteration, double share) override {
    for (RunObserver* one : vAll) one->OnAdvance(iteration, share);
  }
  void OnIteration(const IterationFigure& figure) override {
    for (RunObserver* one : vAll) one->OnIteration(figure);
  }
  void OnFinding(const Finding& finding) override {
    for (RunObserver* one : vAll) one->OnFinding(finding);
  }
  void OnEnd(const RunFigures& figures) override {
    for (RunObserver* one : vAll) one->OnEnd(figures);
  }

 private:
  std::vector<RunObserver*> vAll;
};

}  // namespace orvo::report
