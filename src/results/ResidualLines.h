// The lines of a residual file of the CPU path: one per measurement.
#pragma once

#include <cstdint>
#include <span>

#include "results/ResidualPieces.h"

namespace orvo {

/// Measurements that follow each other: x, y of each (working image units) and its flag, 0, or other than 0
/// for gross. `Residuals` holds two values for each flag.
struct ResidualSlice {
  std::span<float> Residuals;
  std::span<const int32_t> Flags;
};

/// Divides the residuals by `scale`, in place, to single precision, and writes one line
/// "%12.6lf\t%12.6lf\t %d\n" for each measurement, slice after slice. The extremes start from 1e30 in
/// single precision.
ResidualSummary WriteResidualLines(TextWriter& file, std::span<const ResidualSlice> slices, double scale,
                                   int threads);

}  // namespace orvo
