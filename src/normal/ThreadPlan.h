// Division of a section's points among the assembly threads.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "normal/BlockIndex.h"
#include "records/Records.h"

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

/// What the points of a run have together.
struct PointSums {
  int64_t nWork = 0;
  int64_t nImagePointNum = 0;   ///< as the points tell it
  int64_t nMeasurementNum = 0;  ///< that there are of these
  int64_t nLargestPoint = 0;    ///< most of them on one point
  void Add(const PointSums& other);
};
inline constexpr int64_t kPointsOfPiece = 8192;

/// The sums of each kPointsOfPiece points, by up to `threads` threads.
std::vector<PointSums> SumPieces(std::span<const ObjectPointRecord> points,
                                 std::span<const ImagePointRecord> imagePoints, int threads);

/// The sums of the points first to last, both included, where the pieces are known.
PointSums SumRange(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints,
                   std::span<const PointSums> pieces, int64_t first, int64_t last);

/// As above, where the pieces are known.
std::vector<PointSlice> SlicePoints(std::span<const ObjectPointRecord> points,
                                    std::span<const PointSums> pieces, int32_t threadNum);

/// Number of doubles in the blocks that the points of one slice fill. `lastSlice` holds one entry per block
/// of the pattern and tells which slice counted it last; no two calls on it take the same number `slice`.
int64_t CountTouchedDoubles(std::span<const ObjectPointRecord> points,
                            std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout,
                            std::span<const SubMatrixRow> rows, int32_t slice,
                            std::vector<int32_t>& lastSlice);

}  // namespace orvo
