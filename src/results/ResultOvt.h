// OrvoResult.ovt: the tie-point file with the intersected coordinates.
#pragma once

#include <cstdint>
#include <functional>

#include "base/InputFiles.h"
#include "base/OutputLedger.h"
#include "base/RunLog.h"
#include "records/FilePaths.h"
#include "records/PointStore.h"

namespace orvo {

/// How the points come section by section: everything that the run does for it.
struct OvtSections {
  /// Makes the table of sections for this many points and measurements.
  std::function<void(int64_t pointNum, int64_t measureNum)> Plan;
  /// Reads all points of a section into the store, none thinned out; how many.
  std::function<int64_t(int32_t section)> Read;
  /// Gives the first `count` points in the store their coordinates.
  std::function<void(int32_t section, int64_t count)> Intersect;
  /// Frees the points of the section.
  std::function<void()> Release;
  /// False, told once, when a file that the run reads failed.
  std::function<bool()> InputsHold;
  int nThreads = 1;  ///< that copy records, at most
};

/// Writes OrvoResult.ovt from the tie-point file beside the project, or the one of a text project, in
/// szOvtPath; false without one or after a message. A failure is counted in `outputs`.
bool WriteResultOvt(const OvtSections& sections, FilePaths& paths, PointStore& points, InputFiles& inputs,
                    OutputLedger& outputs, RunLog& log);

}  // namespace orvo
