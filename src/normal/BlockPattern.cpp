#include "normal/BlockPattern.h"

#include <algorithm>

namespace orvo {
namespace {

/// Lists of integers, one behind the other.
struct PackedLists {
  std::vector<int64_t> Start;
  std::vector<int32_t> Items;
  std::span<const int32_t> operator[](size_t k) const {
    return {Items.data() + Start[k], static_cast<size_t>(Start[k + 1] - Start[k])};
  }
};

PackedLists BlockRowsOfPoints(std::span<const ObjectPointRecord> points,
                              std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout) {
  PackedLists lists;
  lists.Start.reserve(points.size() + 1);
  lists.Start.push_back(0);
  std::vector<int32_t> blockRows;
  for (const ObjectPointRecord& point : points) {
    CollectBlockRows(MeasurementsOf(point, imagePoints), layout, blockRows);
    lists.Items.insert(lists.Items.end(), blockRows.begin(), blockRows.end());
    lists.Start.push_back(static_cast<int64_t>(lists.Items.size()));
  }
  return lists;
}

/// For each block row the places in `lists.Items` where it stands.
struct Places {
  std::vector<int64_t> Start;
  std::vector<int64_t> Item;  ///< index into Items
  std::vector<int64_t> End;   ///< end of the point's list
};

Places PlacesOfRows(const PackedLists& lists, size_t rowNum) {
  Places places;
  places.Start.assign(rowNum + 1, 0);
  for (const int32_t row : lists.Items) ++places.Start[static_cast<size_t>(row) + 1];
  for (size_t row = 0; row < rowNum; ++row) places.Start[row + 1] += places.Start[row];
  places.Item.resize(lists.Items.size());
  places.End.resize(lists.Items.size());
  std::vector<int64_t> next(places.Start.begin(), places.Start.end() - 1);
  for (size_t point = 0; point + 1 < lists.Start.size(); ++point) {
    for (int64_t k = lists.Start[point]; k < lists.Start[point + 1]; ++k) {
      const auto row = static_cast<size_t>(lists.Items[static_cast<size_t>(k)]);
      const auto slot = static_cast<size_t>(next[row]++);
      places.Item[slot] = k;
      places.End[slot] = lists.Start[point + 1];
    }
  }
  return places;
}

}  // namespace

void CollectBlockRows(std::span<const ImagePointRecord> measurements, const UnknownLayout& layout,
                      std::vector<int32_t>& blockRows) {
  blockRows.clear();
  for (const ImagePointRecord& point : measurements) {
    if (!layout.Holds(point)) continue;
    if (layout.nLayoutMode == LayoutIop) {
      blockRows.push_back(point.nCamera);
      continue;
    }
    blockRows.push_back(point.nImage);
    if (layout.nLayoutMode == LayoutEopIop) blockRows.push_back(layout.nImageNum + point.nCamera);
  }
  std::sort(blockRows.begin(), blockRows.end());
  blockRows.erase(std::unique(blockRows.begin(), blockRows.end()), blockRows.end());
}

void AddPatternOfPoints(std::span<const ObjectPointRecord> points,
                        std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout,
                        std::vector<SubMatrixRow>& rows) {
  const PackedLists lists = BlockRowsOfPoints(points, imagePoints, layout);
  const Places places = PlacesOfRows(lists, rows.size());
  std::vector<int32_t> markedBy(rows.size(), -1);
  for (size_t row = 0; row < rows.size(); ++row) {
    std::vector<int32_t>& columns = rows[row].vColumns;
    const auto mark = static_cast<int32_t>(row);
    const size_t known = columns.size();
    for (const int32_t column : columns) {
      if (static_cast<size_t>(column) < rows.size()) markedBy[static_cast<size_t>(column)] = mark;
    }
    for (auto k = static_cast<size_t>(places.Start[row]); k < static_cast<size_t>(places.Start[row + 1]);
         ++k) {
      for (int64_t item = places.Item[k]; item < places.End[k]; ++item) {
        const int32_t column = lists.Items[static_cast<size_t>(item)];
        if (markedBy[static_cast<size_t>(column)] == mark) continue;
        markedBy[static_cast<size_t>(column)] = mark;
        columns.push_back(column);
      }
    }
    if (columns.size() > known) std::sort(columns.begin(), columns.end());
  }
}

int64_t NumberBlocks(std::vector<SubMatrixRow>& rows) {
  int64_t count = 0;
  for (SubMatrixRow& row : rows) {
    row.nFirstId = static_cast<int32_t>(count);
    count += static_cast<int64_t>(row.vColumns.size());
  }
  return count;
}

}  // namespace orvo
