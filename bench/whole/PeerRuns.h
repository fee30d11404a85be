// Runs of the peer on the files of a case, set against a measurement of that case.
#pragma once

#include <string>
#include <vector>

#include "whole/Cases.h"
#include "whole/Json.h"
#include "whole/Measurement.h"

namespace orvo::bench {

struct PeerCommand {
  std::string szProgram;
  std::string szConfigurations;  ///< solver-threads, by commas; empty: those that suit the case
  int nRepeats = 1;
  bool bGross = false;  ///< the block has outliers
};

/// The best of the repeats of one configuration.
struct PeerRun {
  std::string szCase, szConfiguration;
  double fWall = 0, fCpu = 0;  ///< whole process
  double fRead = 0;            ///< files, preparation and start values of the points
  double fBuild = 0;           ///< making the solver's problem of them
  double fSolve = 0;           ///< from there to the solver's own convergence
  double fToTarget = -1;       ///< solver time until its RMSE is not above the case's, -1: never
  int nSteps = 0;              ///< accepted and rejected ones
  double fStep = 0;            ///< one of them, in the mean
  double fFinalRms = 0;
  int64_t nPeakBytes = 0;
};

/// Runs the configurations, prints each beside the measurement and adds it to `runs`. False where one failed.
bool RunPeer(const PeerCommand& command, const CaseFiles& files, const Measurement& measurement,
             std::vector<PeerRun>& runs);

void WriteJson(JsonWriter& json, const PeerRun& run);

}  // namespace orvo::bench
