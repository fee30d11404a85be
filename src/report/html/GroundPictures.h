// The differences of control and check points in pictures.
#pragma once

#include <string>
#include <vector>

#include "report/RunFigures.h"

namespace orvo::report {

/// Differences to the east and north about 0, with circles of the horizontal RMSE, and heights beside them;
/// of `points`, the first of which matter most and are named. Differences beyond four times the RMSE stand at
/// the rim. Empty without differences.
std::string DifferencePicture(const std::vector<const GroundPointFigure*>& points,
                              const GroundFigures& ground);

}  // namespace orvo::report
