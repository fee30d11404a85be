// Division of a section's points among the assembly threads.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "block/Records.h"
#include "normal/BlockIndex.h"

namespace orvo {

/// A run of points, both ends inclusive, empty where nLast < nFirst, and its work measure.
struct PointSlice {
  int32_t nFirst = 0, nLast = -1;
  int64_t nWork = 0;
};

/// Sum of m (m + 1) over the points, m a point's measurements: elimination touches all their pairs.
int64_t WorkMeasure(std::span<const ObjectPointRecord> points);

/// `threadNum` slices that follow each other and cover every point once. A slice ends with the point where
/// its work first exceeds the threadNum-th part of the whole; the last takes what is left.
std::vector<PointSlice> SlicePoints(std::span<const ObjectPointRecord> points, int32_t threadNum);

/// Number of doubles in the blocks that the points of one slice fill. `lastSlice` holds one entry per block
/// of the pattern and tells which slice counted it last; no two calls on it take the same number `slice`.
int64_t CountTouchedDoubles(std::span<const ObjectPointRecord> points,
                            std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout,
                            std::span<const SubMatrixRow> rows, int32_t slice,
                            std::vector<int32_t>& lastSlice);

}  // namespace orvo
