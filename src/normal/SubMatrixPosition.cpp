// The pattern of the reduced normal matrix and the numbering of its blocks.
#include <algorithm>

#include "base/MemoryPurpose.h"
#include "normal/BlockIndex.h"
#include "normal/BlockPattern.h"
#include "normal/SortedColumns.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::AddSubMatrixPosition(int32_t a, int32_t b) {
  const int64_t n = Unknowns.nBlockRowNum, row = std::min(a, b), column = std::max(a, b);
  if (row < 0 || (2 * n - row + 1) * row / 2 - row + column >= (n + 1) * n / 2 ||
      row >= static_cast<int64_t>(Normal.pSubMatrixRows.size())) {
    LogPrintf("Error!Sub-normal-matrix ID out of range!\n");
    return 0;
  }
  std::vector<int32_t>& columns = Normal.pSubMatrixRows[static_cast<size_t>(row)].vColumns;
  const auto value = static_cast<int32_t>(column);
  int32_t place = 0;
  if (FindSortedColumn(value, columns, place) != 1) columns.insert(columns.begin() + place, value);
  Normal.pBlockIndex.reset();
  return 1;
}

int CBundleAdjustment::ComputeSubMatrixPosition() {
  const MemoryPurpose purpose("the pattern of the normal equations");
  const UnknownLayout layout = Layout();
  const bool several = Points.Sections.Count() > 1;
  bool any = false;
  for (int32_t section = 0; section < Points.Sections.Count(); ++section) {
    if (Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count() < 1) continue;
    if (several && ReadSectionPoints(section) == 0) return 0;
    if (CheckInputs() == 0) return 0;
    any = any || !PointsOfSection(section).empty();
    if (layout.PointRows() <= static_cast<int32_t>(Normal.pSubMatrixRows.size())) {
      AddPatternOfPoints(PointsOfSection(section), Points.pImagePoints, layout, Normal.pSubMatrixRows);
    }
    if (several) ReleaseSectionPoints();
  }
  if (!any) {
    LogPrintf("There is no image point!\n");
    return 0;
  }
  if (Limits.Apply_GPS_Data || Limits.Apply_IMU_Data) AddPosPattern();

  Normal.pBlockIndex.reset();
  Normal.nSubMatrixNum = static_cast<int32_t>(NumberBlocks(Normal.pSubMatrixRows));
  if (!Limits.Apply_PCG_Model) return 1;

  LogPrintf("Total sub matrix number:%d\n", Normal.nSubMatrixNum);
  // Whole numbers on purpose: the test trips only when the records alone reach the whole of the free memory.
  const auto available = static_cast<uint64_t>(std::max<int64_t>(1, System.FreePhysicalBytes()));
  const uint64_t quotient = 24 * static_cast<uint64_t>(Normal.nSubMatrixNum) / available;
  if (static_cast<double>(quotient) > 0.9) {
    LogPrintf("Error!Not enough memory for sparse block-matrix!\n");
    return 0;
  }
  Normal.pSubMatrices.clear();
  Normal.pSubMatrices.resize(static_cast<size_t>(Normal.nSubMatrixNum));
  return 1;
}

void CBundleAdjustment::AddPosPattern() {
  // Groups stand behind all rows that exist: in the merged layout the cameras have no rows of their own, and
  // the pattern follows the numbering of GetUnknownPosition there.
  const UnknownLayout layout = Layout();
  if (layout.nLayoutMode == LayoutIop) return;
  const int32_t base = layout.PointRows();
  const size_t imageNum =
      std::min(Images.pImageIndex.size(), static_cast<size_t>(std::max(0, Images.nImageFileNum)));
  for (size_t ordinal = 0; ordinal < imageNum; ++ordinal) {
    const int32_t image = Images.pImageIndex[ordinal];
    if (image < 0 || static_cast<size_t>(image) >= Images.pImageGroup.size()) continue;
    const int32_t group = Images.pImageGroup[static_cast<size_t>(image)];
    if (group < 0) continue;
    AddSubMatrixPosition(base + group, base + group);
    AddSubMatrixPosition(base + group, image);
    AddSubMatrixPosition(image, base + group);
  }
}

int32_t CBundleAdjustment::GetSubMatrixId(int32_t row, int32_t col) const {
  if (row < 0 || col < 0 || static_cast<size_t>(row) >= Normal.pSubMatrixRows.size()) return -1;
  const SubMatrixRow& blockRow = Normal.pSubMatrixRows[static_cast<size_t>(row)];
  int32_t place = 0;
  return FindSortedColumn(col, blockRow.vColumns, place) == 1 ? blockRow.nFirstId + place : -1;
}

void CBundleAdjustment::GetUnknownPosition(int32_t row, int32_t col, int32_t& rowPosition,
                                           int32_t& colPosition) const {
  const UnknownLayout layout = Layout();
  rowPosition = layout.Position(row);
  colPosition = layout.Position(col);
}

}  // namespace orvo
