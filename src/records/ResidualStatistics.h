// What is known of the residuals.
#pragma once

#include <cstdint>

namespace orvo {

/// Of the measurements in working image units, of control and check points in object units.
struct ResidualStatistics {
  double fResidualSumX = 0, fResidualSumY = 0, fResidualSquareSumX = 0, fResidualSquareSumY = 0;
  // Before any residual is known, everything below 100 pixels at the default scale counts as plausible.
  double fMeanResidualX = kPlausible, fMeanResidualY = kPlausible;
  double fRmsResidualX = kPlausible, fRmsResidualY = kPlausible;
  double dControlResidual[6] = {}, dCheckResidual[6] = {};  ///< mean X, Y, Z, RMSE X, Y, Z
  int32_t nValidImagePointNum = 0;
  int64_t nGrossImagePointNum = 0;  ///< of the pass over all points, beside the valid ones
  double fMaxResidualX = -1e308, fMaxResidualY = -1e308, fMinResidualX = 1e308, fMinResidualY = 1e308;

  static constexpr double kPlausible = 100.0 * 0.001;
};

}  // namespace orvo
