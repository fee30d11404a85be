#include "normal/PatternWalk.h"

#include <algorithm>

#include "normal/BlockPattern.h"
#include "normal/SortedColumns.h"

namespace orvo {

bool AddBlockPosition(int32_t a, int32_t b, int32_t blockRowNum, NormalEquations& normal) {
  const int64_t n = blockRowNum, row = std::min(a, b), column = std::max(a, b);
  if (row < 0 || (2 * n - row + 1) * row / 2 - row + column >= (n + 1) * n / 2 ||
      row >= static_cast<int64_t>(normal.pSubMatrixRows.size())) {
    return false;
  }
  std::vector<int32_t>& columns = normal.pSubMatrixRows[static_cast<size_t>(row)].vColumns;
  const auto value = static_cast<int32_t>(column);
  int32_t place = 0;
  if (FindSortedColumn(value, columns, place) != 1) columns.insert(columns.begin() + place, value);
  normal.pBlockIndex.reset();
  return true;
}

PatternOutcome AddPatternOfSections(const PointStore& points, const UnknownLayout& layout,
                                    const SectionAccess& access, NormalEquations& normal) {
  bool any = false;
  for (int32_t section = 0; section < points.Sections.Count(); ++section) {
    if (points.Sections.ObjectPoints[static_cast<size_t>(section)].Count() < 1) continue;
    if (!access.Read(section)) return PatternOutcome::NotRead;
    any = any || !points.InMemory(section).empty();
    if (layout.PointRows() <= static_cast<int32_t>(normal.pSubMatrixRows.size())) {
      AddPatternOfPoints(points.InMemory(section), points.pImagePoints, layout, normal.pSubMatrixRows);
    }
    access.Release();
  }
  normal.pBlockIndex.reset();
  return any ? PatternOutcome::Found : PatternOutcome::NoPoints;
}

int32_t AddPosPattern(const ImageTable& images, const UnknownLayout& layout, int32_t blockRowNum,
                      NormalEquations& normal) {
  // Groups stand behind all rows that exist: in the merged layout the cameras have no rows of their own, and
  // the pattern follows the numbering of the positions there.
  if (layout.nLayoutMode == LayoutIop) return 0;
  const int32_t base = layout.PointRows();
  int32_t outside = 0;
  const auto add = [&](int32_t a, int32_t b) {
    outside += AddBlockPosition(a, b, blockRowNum, normal) ? 0 : 1;
  };
  const size_t imageNum =
      std::min(images.pImageIndex.size(), static_cast<size_t>(std::max(0, images.nImageFileNum)));
  for (size_t ordinal = 0; ordinal < imageNum; ++ordinal) {
    const int32_t image = images.pImageIndex[ordinal];
    if (image < 0 || static_cast<size_t>(image) >= images.pImageGroup.size()) continue;
    const int32_t group = images.pImageGroup[static_cast<size_t>(image)];
    if (group < 0) continue;
    add(base + group, base + group);
    add(base + group, image);
    add(image, base + group);
  }
  return outside;
}

bool BlockRecordsFit(int32_t blockNum, int64_t freeBytes) {
  // Whole numbers on purpose: the test trips only when the records alone reach the whole of the free memory.
  const auto available = static_cast<uint64_t>(std::max<int64_t>(1, freeBytes));
  return static_cast<double>(24 * static_cast<uint64_t>(blockNum) / available) <= 0.9;
}

}  // namespace orvo
