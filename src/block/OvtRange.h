// Runs of image point records behind the object points of a tie-point file.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

#include "block/OvtFile.h"
#include "block/Records.h"

namespace orvo {

/// The point in memory; its first image point is still the file's index.
inline ObjectPointRecord MakeObjectPoint(const OvtPoint& read) {
  ObjectPointRecord point;
  std::copy(std::begin(read.szName), std::end(read.szName), point.szName);
  point.X = read.X;
  point.Y = read.Y;
  point.Z = read.Z;
  point.nType = read.nType;
  point.nImagePointNum = std::max(read.nImagePointNum, 0);
  point.nFirstImagePoint = read.nFirstImagePoint;
  return point;
}

/// Gives every object point the image points that it may take: none where its first one lies behind those of
/// the points before it or leaves the file, and none beyond the file's end.
class OvtRangeCheck {
 public:
  explicit OvtRangeCheck(int64_t measureNum) : nMeasureNum(measureNum) {}
  int32_t Take(int64_t first, int32_t count) {
    if (count <= 0 || first < nEnd || first >= nMeasureNum) return 0;
    const auto taken = static_cast<int32_t>(std::min<int64_t>(count, nMeasureNum - first));
    nEnd = first + taken;
    return taken;
  }

 private:
  int64_t nMeasureNum;
  int64_t nEnd = 0;
};

/// A window over the image point records, read on in large pieces.
class OvtMeasureWindow {
 public:
  explicit OvtMeasureWindow(OvtReader& file)
      : File(file),
        Records(static_cast<size_t>(std::clamp<int64_t>(file.MeasureNum(), 1, kMeasuresAtOnce)) *
                kOvtMeasureBytes) {}

  /// The packed record, or null when it can't be read. Indices must not fall.
  const char* At(int64_t index) {
    if (index >= nFirst + nCount) {
      nFirst = index;
      nCount =
          File.ReadMeasures(index, static_cast<int64_t>(Records.size()) / kOvtMeasureBytes, Records.data());
    }
    return index < nFirst + nCount ? Records.data() + (index - nFirst) * kOvtMeasureBytes : nullptr;
  }

 private:
  static constexpr int64_t kMeasuresAtOnce = 65536;

  OvtReader& File;
  std::vector<char> Records;
  int64_t nFirst = 0, nCount = 0;
};

}  // namespace orvo
