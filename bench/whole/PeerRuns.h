// Runs of the peer on the files of a case, set against a measurement of that case.
#pragma once

#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "whole/Cases.h"
#include "whole/Json.h"
#include "whole/Measurement.h"

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
};

/// One for each configuration (solver-threads, by commas); empty `configurations`: those that suit the number
/// of images that the name of the case begins with. Nothing after a message where one is no configuration.
std::vector<PeerRun> PlanPeerRuns(const std::string& caseName, const std::string& configurations);

/// Runs the peer once and keeps what is better than before. `target`: RMSE in pixels; `gross`: with the rule
/// for gross measurements. False where it failed.
bool RepeatPeer(const std::string& program, const CaseFiles& files, bool gross, double target, PeerRun& run);

/// A row for each configuration, with the times as multiples of those of the measurement.
void PrintPeerRows(std::FILE* out, const Measurement& measurement, std::span<const PeerRun> runs);

void WriteJson(JsonWriter& json, const PeerRun& run);

}  // namespace orvo::bench
