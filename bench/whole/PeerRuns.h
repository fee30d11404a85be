// Runs of the peer on the files of a case, set against a measurement of that case.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "whole/Cases.h"

namespace orvo::bench {

struct PeerTime {
  double fWall = 0, fCpu = 0;
};

/// The best of the repeats of one configuration. Times in seconds.
struct PeerRun {
  std::string szCase, szConfiguration;
  int nRepeats = 0;
  PeerTime Whole;     ///< the process
  PeerTime Read;      ///< files, preparation and start values of the points
  PeerTime Build;     ///< making the solver's problem of them
  PeerTime Solve;     ///< from there to the solver's own convergence
  PeerTime ToTarget;  ///< solver time until its RMSE is not above the case's, negative: never
  int nSteps = 0;     ///< accepted and rejected ones
  double fFinalRms = 0;
  int64_t nPeakBytes = 0;
  /// Orvo's own whole runs on the case, in turn with these.
  PeerTime Beside;
  int64_t nBesidePeakBytes = 0;
  double fBesideRms = 0;
};

/// Empty where it is solver-threads, otherwise what to say.
std::string CheckConfiguration(const std::string& configuration);

/// One for each configuration; none given: those that suit the number of images that the name of the case
/// begins with.
std::vector<PeerRun> PlanPeerRuns(const std::string& caseName,
                                  const std::vector<std::string>& configurations);

/// Runs the peer once and keeps what is better than before. `target`: RMSE in pixels; `gross`: with the rule
/// for gross measurements. False where it failed.
bool RepeatPeer(const std::string& program, const CaseFiles& files, bool gross, double target, PeerRun& run);

}  // namespace orvo::bench
