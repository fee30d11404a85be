// The lines of a residual file: one per measurement, then the tail with the statistics.
#pragma once

#include <cstdint>
#include <span>

#include "run/TextWriter.h"

namespace orvo {

/// What the measurements of one file add up to. The extremes are those of measurements that are not gross, in
/// file image units, and start where any residual replaces them.
struct ResidualSummary {
  float fMaxX = -1e30f, fMaxY = -1e30f;
  float fMinX = 1e30f, fMinY = 1e30f;
  int64_t nGrossNum = 0;
  int64_t nPointNum = 0;
};

/// Divides the residuals (x, y of each measurement, working image units) by `scale`, in place, to single
/// precision.
void DivideResiduals(std::span<float> residuals, double scale);

/// One line "%12.6lf\t%12.6lf\t %d\n" per flag with x, y and the flag (0, or other than 0 for gross), and
/// adds the measurements to the summary. `residuals` holds two values for each flag.
void WriteResidualLines(TextWriter& file, std::span<const float> residuals, std::span<const int32_t> flags,
                        ResidualSummary& summary);

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
