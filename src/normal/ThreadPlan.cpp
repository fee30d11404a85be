#include "normal/ThreadPlan.h"

#include <algorithm>

#include "normal/BlockPattern.h"

namespace orvo {
namespace {

int64_t Work(const ObjectPointRecord& point) {
  return int64_t{point.nImagePointNum} * (int64_t{point.nImagePointNum} + 1);
}

}  // namespace

int64_t WorkMeasure(std::span<const ObjectPointRecord> points) {
  int64_t work = 0;
  for (const ObjectPointRecord& point : points) work += Work(point);
  return work;
}

std::vector<PointSlice> SlicePoints(std::span<const ObjectPointRecord> points, int32_t threadNum) {
  std::vector<PointSlice> slices(static_cast<size_t>(std::max(1, threadNum)));
  const int64_t target = WorkMeasure(points) / static_cast<int64_t>(slices.size());
  const auto count = static_cast<int32_t>(points.size());
  int32_t next = 0;
  for (PointSlice& slice : slices) {
    const bool last = &slice == &slices.back();
    slice.nFirst = next;
    // Where the points run out before the work is reached the slice ends with them and the later ones are
    // empty. A bound left at zero would give points to two slices, and these would count twice.
    while (next < count) {
      slice.nWork += Work(points[static_cast<size_t>(next++)]);
      if (!last && slice.nWork > target) break;
    }
    slice.nLast = next - 1;
  }
  return slices;
}

int64_t CountTouchedDoubles(std::span<const ObjectPointRecord> points,
                            std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout,
                            std::span<const SubMatrixRow> rows, int32_t slice,
                            std::vector<int32_t>& lastSlice) {
  const auto sizeOf = [&](int32_t row) { return row < layout.FirstRows() ? layout.FirstSize() : 5; };
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
        count += int64_t{sizeOf(blockRows[a])} * sizeOf(blockRows[b]);
      }
    }
  }
  return count;
}

}  // namespace orvo
