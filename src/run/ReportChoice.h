// What a guarded run writes besides its results, and what it has to know for it.
#pragma once

#include <optional>

namespace orvo {

/// Which tables of points and measurements are written.
struct TableChoice {
  bool bResiduals = false;  ///< residuals.csv
  bool bPoints = false;     ///< points.csv and points.ply

  bool Any() const { return bResiduals || bPoints; }
};

struct ReportChoice {
  bool bPage = true;  ///< report.html
  TableChoice Tables;
  /// Standard deviations of surveyed check points, horizontal (of both coordinates together) and vertical,
  /// object units.
  std::optional<double> fSurveySigmaH, fSurveySigmaV;
};

}  // namespace orvo
