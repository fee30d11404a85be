// The lines of a residual file of the device path.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>

#include "base/TextWriter.h"

namespace orvo::gpu {

/// One image point. Lengths in working image units.
struct GpuResidualLine {
  int32_t nImage = 0, nCamera = 0, nObjectPoint = 0;
  float x = 0, y = 0, vx = 0, vy = 0;
  int32_t nFlag = 0;  ///< 0, or 1 for gross
};

/// The image points of a GPU section. `Fill` writes `count` lines from line `first` on; it is called from
/// several threads.
struct GpuResidualTable {
  int64_t nPointNum = 0;
  std::function<void(int64_t first, int64_t count, GpuResidualLine* lines)> Fill;
};

/// What the lines add up to. The extremes are those of image points that are not gross, in file image units,
/// and 1e308 in magnitude where there is none.
struct GpuResidualSummary {
  static constexpr double kNone = 1e308;
  double fMaxX = -kNone, fMaxY = -kNone, fMinX = kNone, fMinY = kNone;
  int64_t nGrossNum = 0;

  void Append(const GpuResidualSummary& next);
};

/// Writes "%-8d %-4d %-10d %12.6lf\t%12.6lf\t%12.6lf\t%12.6lf %d\n" for each image point: image, camera,
/// object point, x, y, vx, vy in file image units (working units divided by `scale`), and the negated flag.
/// Formats on up to `threads` threads; the file is the same with any number.
GpuResidualSummary WriteGpuResidualLines(TextWriter& file, const GpuResidualTable& table, double scale,
                                         int threads);

}  // namespace orvo::gpu
