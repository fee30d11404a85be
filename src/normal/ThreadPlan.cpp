#include "normal/ThreadPlan.h"

#include <algorithm>

#include "base/Threads.h"
#include "normal/BlockPattern.h"

namespace orvo {
namespace {

int64_t Work(const ObjectPointRecord& point) {
  return int64_t{point.nImagePointNum} * (int64_t{point.nImagePointNum} + 1);
}

PointSums SumOneByOne(std::span<const ObjectPointRecord> points,
                      std::span<const ImagePointRecord> imagePoints, int64_t first, int64_t end) {
  PointSums sums;
  for (int64_t p = first; p < end; ++p) {
    const ObjectPointRecord& point = points[static_cast<size_t>(p)];
    const auto count = static_cast<int64_t>(MeasurementsOf(point, imagePoints).size());
    sums.Add({Work(point), point.nImagePointNum, count, count});
  }
  return sums;
}

}  // namespace

void PointSums::Add(const PointSums& other) {
  nWork += other.nWork;
  nImagePointNum += other.nImagePointNum;
  nMeasurementNum += other.nMeasurementNum;
  nLargestPoint = std::max(nLargestPoint, other.nLargestPoint);
}

std::vector<PointSums> SumPieces(std::span<const ObjectPointRecord> points,
                                 std::span<const ImagePointRecord> imagePoints, int threads) {
  const auto count = static_cast<int64_t>(points.size());
  std::vector<PointSums> pieces(static_cast<size_t>((count + kPointsOfPiece - 1) / kPointsOfPiece));
  ParallelFor(std::ssize(pieces), threads, [&](int64_t k) {
    const int64_t first = k * kPointsOfPiece;
    pieces[static_cast<size_t>(k)] =
        SumOneByOne(points, imagePoints, first, std::min(first + kPointsOfPiece, count));
  });
  return pieces;
}

PointSums SumRange(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints,
                   std::span<const PointSums> pieces, int64_t first, int64_t last) {
  PointSums sums;
  for (int64_t next = first; next <= last;) {
    const int64_t end = std::min((next / kPointsOfPiece + 1) * kPointsOfPiece, last + 1);
    const bool whole = next % kPointsOfPiece == 0 &&
                       (end % kPointsOfPiece == 0 || end == static_cast<int64_t>(points.size()));
    sums.Add(whole ? pieces[static_cast<size_t>(next / kPointsOfPiece)]
                   : SumOneByOne(points, imagePoints, next, end));
    next = end;
  }
  return sums;
}

int64_t WorkMeasure(std::span<const ObjectPointRecord> points) {
  int64_t work = 0;
  for (const ObjectPointRecord& point : points) work += Work(point);
  return work;
}

std::vector<PointSlice> SlicePoints(std::span<const ObjectPointRecord> points,
                                    std::span<const PointSums> pieces, int32_t threadNum) {
  std::vector<PointSlice> slices(static_cast<size_t>(std::max(1, threadNum)));
  int64_t whole = 0;
  for (const PointSums& piece : pieces) whole += piece.nWork;
  const int64_t target = whole / static_cast<int64_t>(slices.size());
  const auto count = static_cast<int64_t>(points.size());
  int64_t next = 0;
  for (PointSlice& slice : slices) {
    const bool last = &slice == &slices.back();
    slice.nFirst = static_cast<int32_t>(next);
    // Where the points run out before the work is reached the slice ends with them and the later ones are
    // empty. A bound left at zero would give points to two slices, and these would count twice.
    while (next < count) {
      if (next % kPointsOfPiece == 0) {
        const int64_t work = slice.nWork + pieces[static_cast<size_t>(next / kPointsOfPiece)].nWork;
        if (last || work <= target) {
          slice.nWork = work;
          next = std::min(next + kPointsOfPiece, count);
          continue;
        }
      }
      slice.nWork += Work(points[static_cast<size_t>(next++)]);
      if (!last && slice.nWork > target) break;
    }
    slice.nLast = static_cast<int32_t>(next - 1);
  }
  return slices;
}

std::vector<PointSlice> SlicePoints(std::span<const ObjectPointRecord> points, int32_t threadNum) {
  return SlicePoints(points, SumPieces(points, {}, 1), threadNum);
}

int64_t CountTouchedDoubles(std::span<const ObjectPointRecord> points,
                            std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout,
                            std::span<const SubMatrixRow> rows, int32_t slice,
                            std::vector<int32_t>& lastSlice) {
  int64_t count = 0;
  std::vector<int32_t> blockRows;
  for (const ObjectPointRecord& point : points) {
    CollectBlockRows(MeasurementsOf(point, imagePoints), layout, blockRows);
    for (size_t a = 0; a < blockRows.size(); ++a) {
      if (static_cast<size_t>(blockRows[a]) >= rows.size()) break;
      const SubMatrixRow& row = rows[static_cast<size_t>(blockRows[a])];
      auto column = row.vColumns.begin();
      for (size_t b = a; b < blockRows.size(); ++b) {
        // Both lists ascend, so the search goes on where it stopped.
        column = std::lower_bound(column, row.vColumns.end(), blockRows[b]);
        if (column == row.vColumns.end()) break;
        if (*column != blockRows[b]) continue;
        const auto id = static_cast<size_t>(row.nFirstId + (column - row.vColumns.begin()));
        if (id >= lastSlice.size() || lastSlice[id] == slice) continue;
        lastSlice[id] = slice;
        count += int64_t{layout.BlockSize(blockRows[a])} * layout.BlockSize(blockRows[b]);
      }
    }
  }
  return count;
}

}  // namespace orvo
