// How many assembly threads the memory can carry, and which points each of them takes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/Platform.h"
#include "base/RunLog.h"
#include "normal/NormalEquations.h"
#include "normal/SubMatrix.h"
#include "records/PointStore.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// One thread, or where several are wanted as many as processors less `spared`, as told in the log.
int32_t AssemblyThreadNum(bool several, int spared, const Platform& system, RunLog& log);

/// The points of a section in memory, and the pattern of their blocks.
struct SectionPattern {
  int32_t nSection = 0;
  std::span<const ObjectPointRecord> Points;
  std::span<const ImagePointRecord> ImagePoints;
  UnknownLayout Layout;
  std::span<const SubMatrixRow> Rows;
  int32_t nSubMatrixNum = 0;
};

/// The largest number of threads, `planned` at most, whose blocks fit in the free memory together; 0 when
/// none does. Every attempt is told in the log.
int32_t FitThreadNum(const SectionPattern& pattern, int32_t planned, const Platform& system, RunLog& log);

/// `threadNum` tasks that cover every point of the section once, with a line for each.
std::vector<SubTask> SplitPoints(const PointStore& points, int32_t section, int32_t threadNum, int processors,
                                 RunLog& log);

}  // namespace orvo
