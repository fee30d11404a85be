// What a guarded run notes of its course, and what it writes of it in the end: summary.json and report.html.
// Every function does nothing in a classic run.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "records/Records.h"
#include "report/RunFigures.h"

namespace orvo {

class CBundleAdjustment;
struct RunOptions;
struct RunOutcome;
struct RunPaths;

/// Of the time of an iteration on the processor, as a rule; the solution takes the rest.
inline constexpr double kShareOfSums = 0.7;

class RunCourse {
 public:
  explicit RunCourse(CBundleAdjustment& of) : run(of) {}

  /// The run begins now.
  void Begin();
  void BeginPhase(report::RunPhase phase);
  /// Behind the counting, before points are thinned.
  void NoteFileCounts();
  /// Once all is known that the first iteration begins with.
  void NoteCounts();
  /// What the adjustment itself counted, where it is more than NoteCounts could tell.
  void NoteRedundancy(int64_t redundancy);
  void BeginIteration();
  /// See RunWatch.
  void Advance(double share);
  /// Residuals and counts are those of the run as they are. `largest` is no number where there was no step.
  void EndIteration(double largest, int32_t solverSteps, double mu);

  /// Begins the pass over the points, in the frame that coordinates stand in now. `unit`: see PassInputOf.
  void BeginPass(double unit);
  /// The pass takes these points. True in a guarded run alone.
  void PassOver(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints);
  /// The figures of the pass, before coordinates are restored and POS data is released.
  void EndPass();

  /// All figures of a run that came to its end, and its two files: the last of the outputs.
  void Report();
  /// The same of a run that did not, as far as they are known.
  void ReportFailure(const RunOutcome& outcome);
  /// Tells those who watch.
  void End();

 private:
  void FillRun();
  void FillInputs();
  void Write();

  CBundleAdjustment& run;
};

}  // namespace orvo
