// The division of all object points into runs that fit in memory.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/RunLog.h"
#include "records/Records.h"

namespace orvo {

/// Bytes that a block is reckoned to need; the figures are those of the estimate, not of the records.
int64_t EstimateBlockBytes(int32_t imageNum, int32_t cameraNum, int64_t objectPointNum,
                           int64_t imagePointNum);

/// How many sections bring `need` bytes under `limit` bytes each; at least 1 and not more than there are
/// points.
int32_t CountSections(int64_t need, double limit, int64_t objectPointNum);

/// Ranges of nearly equal numbers of image points. `counts`: image points by tie point; points behind its end
/// weigh nothing. The ranges follow each other without gap or overlap and end with the last point; one may
/// come out empty (first > last).
PointSectionTable DivideByImagePoints(int32_t sectionNum, int64_t objectPointNum, int64_t imagePointNum,
                                      std::span<const int32_t> counts);

/// Ranges of nearly equal numbers of object points; only the last range of image points has an end.
PointSectionTable DivideByObjectPoints(int32_t sectionNum, int64_t objectPointNum, int64_t imagePointNum);

/// How much of everything there is.
struct BlockSize {
  int32_t nImageNum = 0, nCameraNum = 0;
  int64_t nObjectPointNum = 0, nImagePointNum = 0;
};

/// Divides the points into sections of at most 80 % of the free memory, and tells them. `counts`:
/// measurements by tie point, or null to divide by object points.
PointSectionTable PlanPointSections(const BlockSize& size, const std::vector<int32_t>* counts,
                                    int64_t freeBytes, RunLog& log);

}  // namespace orvo
