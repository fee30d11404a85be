// Whether the records of a tie-point file fit each other, told while they pass by.
#pragma once

#include <cmath>
#include <cstdint>

#include "block/OvtFile.h"

namespace orvo {

inline bool OvtMeasureIsFinite(const char* measureRecord) {
  return std::isfinite(LoadLittleEndian<float>(measureRecord + 4)) &&
         std::isfinite(LoadLittleEndian<float>(measureRecord + 8));
}

/// A run of object points, whose measurements have to follow each other without a gap.
struct OvtPointRun {
  int64_t nFirst = -1;   ///< first measurement of the first point, -1 without a point
  int64_t nEnd = 0;      ///< behind the last measurement of the last point
  int64_t nFewRays = 0;  ///< points with fewer than 2 measurements
  bool bBroken = false;  ///< a count below 0, a gap, an overlap, or a coordinate that is not finite

  void Add(const char* pointRecord) {
    const int64_t count = LoadLittleEndian<int32_t>(pointRecord + 60);
    const int64_t first = LoadLittleEndian<int32_t>(pointRecord + 64);
    // Where a point without measurements says that they begin is of no account.
    if (count != 0) Take(first, count);
    if (count < 2) ++nFewRays;
    for (int axis = 0; axis < 3; ++axis) {
      if (!std::isfinite(LoadLittleEndian<double>(pointRecord + 32 + 8 * axis))) bBroken = true;
    }
    if (LoadLittleEndian<int32_t>(pointRecord + 56) < 0) bBroken = true;
  }
  /// The run behind this one.
  void Append(const OvtPointRun& next) {
    if (next.nFirst < 0) return;
    Take(next.nFirst, next.nEnd - next.nFirst);
    nFewRays += next.nFewRays;
    bBroken = bBroken || next.bBroken;
  }
  /// The run takes all of the measurements, from the first to the last.
  bool Covers(int64_t measureNum) const {
    return !bBroken && nEnd == measureNum && (nFirst == 0 || (nFirst < 0 && measureNum == 0));
  }

 private:
  void Take(int64_t first, int64_t count) {
    if (count < 0 || first < 0 || (nFirst >= 0 && first != nEnd)) bBroken = true;
    if (nFirst < 0) nFirst = first;
    nEnd = first + count;
  }
};

}  // namespace orvo
