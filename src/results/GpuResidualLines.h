// The lines of a residual file of the device path: one per image point.
#pragma once

#include <cstdint>
#include <functional>

#include "results/ResidualPieces.h"

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

/// Writes "%-8d %-4d %-10d %12.6lf\t%12.6lf\t%12.6lf\t%12.6lf %d\n" for each image point: image, camera,
/// object point, x, y, vx, vy in file image units (working units divided by `scale`), and the negated flag.
/// An extreme that no image point replaced is its start, 1e308 in magnitude, divided by `scale`, too.
ResidualSummary WriteGpuResidualLines(TextWriter& file, const GpuResidualTable& table, double scale,
                                      int threads);

}  // namespace orvo::gpu
