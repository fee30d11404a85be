// Several runs of one case by one program, and what stays of them: the least of every figure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "whole/MeasuredProcess.h"
#include "whole/Timeline.h"

namespace orvo::bench {

struct OutputFileSize {
  OutputFileTime Time;
  int64_t nBytes = 0;
};

/// Seconds and bytes. What others on the machine do only ever adds, so the least of the repeats counts, each
/// figure for itself; the sum of the phases is then at most the whole.
struct Measurement {
  std::string szCase, szProgram;
  int64_t nRepeats = 0;
  double fWall = 0, fCpu = 0, fUser = 0, fSystem = 0;
  int64_t nPeakBytes = 0;
  std::optional<int64_t> nInstructions;
  int64_t nMinorFaults = 0;
  double fIterationWall = 0, fIterationCpu = 0;  ///< of one iteration, in the mean over a run
  double fListingWall = 0, fListingCpu = 0;      ///< of them, of the residual listing
  int64_t nIterations = 0;                       ///< of the last run
  std::vector<PhaseTime> Phases;
  std::vector<OutputFileSize> Files;
  double fFinalRms = 0;  ///< over x and y, pixels, as the report says
};

/// The image RMSE over x and y of the report in a folder, file image units; not a number without one.
double ReadReportRms(const std::string& outputFolder);

/// Adds a run whose output stands in `outputFolder`.
void AddRun(Measurement& measurement, const ProcessFigures& figures, const std::string& outputFolder);

}  // namespace orvo::bench
