#include "block/SectionPlan.h"

#include <algorithm>
#include <cinttypes>
#include <limits>

namespace orvo {
namespace {

PointSectionTable MakeTable(int32_t sectionNum) {
  const auto size = static_cast<size_t>(std::max(sectionNum, 1));
  PointSectionTable table;
  table.ObjectPoints.resize(size);
  table.ImagePoints.resize(size);
  return table;
}

void EndTable(PointSectionTable& table, int64_t objectPointNum, int64_t imagePointNum) {
  table.ObjectPoints.back().nLast = objectPointNum - 1;
  table.ImagePoints.back().nLast = imagePointNum - 1;
}

}  // namespace

int64_t EstimateBlockBytes(int32_t imageNum, int32_t cameraNum, int64_t objectPointNum,
                           int64_t imagePointNum) {
  return static_cast<int64_t>(68.0 * static_cast<double>(objectPointNum) +
                              28.0 * static_cast<double>(imagePointNum)) +
         int64_t{60} * imageNum + int64_t{40} * cameraNum;
}

int32_t CountSections(int64_t need, double limit, int64_t objectPointNum) {
  const auto needed = static_cast<double>(need);
  if (needed <= limit) return 1;
  const int64_t most = std::clamp<int64_t>(objectPointNum, 1, std::numeric_limits<int32_t>::max());
  const double count = needed / std::max(limit, 1.0) + 1.0;
  return count < static_cast<double>(most) ? static_cast<int32_t>(count) : static_cast<int32_t>(most);
}

PointSectionTable DivideByImagePoints(int32_t sectionNum, int64_t objectPointNum, int64_t imagePointNum,
                                      std::span<const int32_t> counts) {
  PointSectionTable table = MakeTable(sectionNum);
  const int64_t perSection = imagePointNum / table.Count();
  const int64_t weighed = std::min(objectPointNum, static_cast<int64_t>(counts.size()));
  int64_t point = 0, imagePoint = 0;
  for (size_t s = 0; s < table.ObjectPoints.size(); ++s) {
    table.ObjectPoints[s].nFirst = point;
    table.ImagePoints[s].nFirst = imagePoint;
    const bool last = s + 1 == table.ObjectPoints.size();
    int64_t sum = 0, end = point;
    while (!last && end < weighed && sum <= perSection) sum += counts[static_cast<size_t>(end++)];
    // What is left for a section that can't be filled goes to the last one, with the GCP behind it.
    if (sum > perSection) {
      point = end;
      imagePoint += sum;
    }
    table.ObjectPoints[s].nLast = point - 1;
    table.ImagePoints[s].nLast = imagePoint - 1;
  }
  EndTable(table, objectPointNum, imagePointNum);
  return table;
}

PointSectionTable DivideByObjectPoints(int32_t sectionNum, int64_t objectPointNum, int64_t imagePointNum) {
  PointSectionTable table = MakeTable(sectionNum);
  const int64_t pointsPerSection = objectPointNum / table.Count();
  int64_t point = 0;
  for (PointSectionTable::Range& range : table.ObjectPoints) {
    range.nFirst = point;
    // One more than the quotient in each, so that the last ones may find nothing left.
    range.nLast = std::min(point + pointsPerSection, objectPointNum - 1);
    point = range.nLast + 1;
  }
  EndTable(table, objectPointNum, imagePointNum);
  return table;
}

PointSectionTable PlanPointSections(const BlockSize& size, const std::vector<int32_t>* counts,
                                    int64_t freeBytes, RunLog& log) {
  const double limit = 0.8 * static_cast<double>(freeBytes);
  const int64_t need =
      EstimateBlockBytes(size.nImageNum, size.nCameraNum, size.nObjectPointNum, size.nImagePointNum);
  const int32_t sectionNum = CountSections(need, limit, size.nObjectPointNum);
  log.Print("CPU Sections:%d\n", sectionNum);
  PointSectionTable table =
      counts != nullptr ? DivideByImagePoints(sectionNum, size.nObjectPointNum, size.nImagePointNum, *counts)
                        : DivideByObjectPoints(sectionNum, size.nObjectPointNum, size.nImagePointNum);
  for (size_t s = 0; s < table.ObjectPoints.size(); ++s) {
    log.Print("%" PRId64 "/%" PRId64 " %" PRId64 "/%" PRId64 "\n", table.ObjectPoints[s].nFirst,
              table.ImagePoints[s].nFirst, table.ObjectPoints[s].nLast, table.ImagePoints[s].nLast);
  }
  return table;
}

}  // namespace orvo
