// From what a run of `orvo adjust` said and wrote to the time that each of its steps took.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "whole/MeasuredProcess.h"

namespace orvo::bench {

struct PhaseTime {
  std::string szName;
  double fWall = 0, fCpu = 0;  ///< seconds, all of its occurrences
  int nCount = 0;
};

/// From the end of the former iteration (of the preparation) to the line with its correction and RMSE.
struct IterationTime {
  double fWall = 0, fCpu = 0;
  double fListingWall = 0, fListingCpu = 0;   ///< what of it was the residual listing
  double fLargest = 0, fRmsX = 0, fRmsY = 0;  ///< as the log says them, RMSE before the correction
  int nPcgIterations = 0;
};

/// From its creation until it was closed for the last time.
struct OutputFileTime {
  std::string szName;  ///< the numbers of iteration and section replaced by *
  double fWall = 0;
  int nCount = 0;
};

struct Timeline {
  std::vector<PhaseTime> Phases;  ///< in the order of their first occurrence
  std::vector<IterationTime> Iterations;
  std::vector<OutputFileTime> Files;
};

/// Residuals_3_0.res becomes Residuals_*_*.res.
std::string WithoutNumbers(std::string_view name);

/// `endWall` and `endCpu` are the run's own figures; all phases together last exactly that long.
///
/// A phase begins with the log line that announces it. Within them, the file events of an output folder tell
/// the listing from the merge, and the update from the solution. A listing that is written while other steps
/// go on is no phase, but still a file.
Timeline ReadTimeline(std::span<const ProcessEvent> events, double endWall, double endCpu);

}  // namespace orvo::bench
