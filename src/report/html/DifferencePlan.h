// Differences of control and check points as vectors in a map.
#pragma once

#include <string>

#include "report/RunFigures.h"

namespace orvo::report {

/// The figure; empty where no ground point was intersected.
std::string DifferencePlan(const RunFigures& figures);

}  // namespace orvo::report
