// The lines of a residual file: one per measurement, then the tail with the statistics.
#pragma once

#include <cstdint>
#include <span>

#include "base/TextWriter.h"

namespace orvo {

/// What the measurements of one file add up to. The extremes are those of measurements that are not gross, in
/// file image units, and start where any residual replaces them.
struct ResidualSummary {
  float fMaxX = -1e30f, fMaxY = -1e30f;
  float fMinX = 1e30f, fMinY = 1e30f;
  int64_t nGrossNum = 0;
  int64_t nPointNum = 0;

  /// Adds the measurements of `next`, which stand behind those of this one. Of equal extremes the first
  /// stays: zeros print with their sign.
  void Append(const ResidualSummary& next);
};

/// Measurements that follow each other: x, y of each (working image units) and its flag, 0, or other than 0
/// for gross. `Residuals` holds two values for each flag.
struct ResidualSlice {
  std::span<float> Residuals;
  std::span<const int32_t> Flags;
};

/// Divides the residuals by `scale`, in place, to single precision, and writes one line
/// "%12.6lf\t%12.6lf\t %d\n" for each measurement, slice after slice. Formats on up to `threads` threads, of
/// which the calling one is the first; the file is the same with any number. Returns what the lines add up
/// to.
ResidualSummary WriteResidualLines(TextWriter& file, std::span<const ResidualSlice> slices, double scale,
                                   int threads);

/// Everything that stands below the lines. Image figures in file image units; control and check: mean X, Y,
/// Z, RMSE X, Y, Z in object units.
struct ResidualTail {
  double fMeanX = 0, fMeanY = 0, fRmsX = 0, fRmsY = 0;
  double fMaxX = 0, fMaxY = 0, fMinX = 0;
  int64_t nGrossNum = 0, nPointNum = 0;
  const double* pControl = nullptr;
  const double* pCheck = nullptr;
};

/// The tail, the same for every form of the file.
void WriteResidualTail(TextWriter& file, const ResidualTail& tail);

}  // namespace orvo
