// Runs of image point records behind the object points of a tie-point file.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <vector>

#include "block/OvtFile.h"
#include "records/Records.h"

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
  explicit OvtMeasureWindow(const OvtReader& file)
      : File(file),
        Records(static_cast<size_t>(std::clamp<int64_t>(file.MeasureNum(), 1, kMeasuresAtOnce)) *
                kOvtMeasureBytes) {}

  /// The packed record, or null when it can't be read. Indices must not fall. Reads no record at `end` or
  /// behind it.
  const char* At(int64_t index, int64_t end = std::numeric_limits<int64_t>::max()) {
    if (index >= nFirst + nCount) {
      const int64_t room = static_cast<int64_t>(Records.size()) / kOvtMeasureBytes;
      nFirst = index;
      nCount = File.ReadMeasures(index, std::min(room, end - index), Records.data());
    }
    return index < nFirst + nCount ? Records.data() + (index - nFirst) * kOvtMeasureBytes : nullptr;
  }
  /// Records that follow each other from At(index) on, at least 1 where that isn't null.
  int64_t Following(int64_t index) const { return nFirst + nCount - index; }
  /// Lets the next index be a smaller one.
  void Restart() { nFirst = nCount = 0; }

 private:
  static constexpr int64_t kMeasuresAtOnce = 16384;

  const OvtReader& File;
  std::vector<char> Records;
  int64_t nFirst = 0, nCount = 0;
};

}  // namespace orvo
