// The precision of a rigorous run, as it is told: in the log, to the verdict, and in a table.
#pragma once

#include <vector>

#include "rigorous/BlockProblem.h"
#include "rigorous/PrecisionFigures.h"

namespace orvo {

class CBundleAdjustment;

/// To the extent that the settings ask for. Points have to be in memory.
rigorous::PrecisionFigures PrecisionOfRun(const rigorous::BlockProblem& problem,
                                          const rigorous::Estimate& estimate,
                                          const rigorous::AdjustResult& result,
                                          std::vector<rigorous::CheckPoint> checkPoints,
                                          const CBundleAdjustment& run);

/// Lines of the log, what the verdict judges, and the figures of the summary.
void TellPrecision(const rigorous::PrecisionFigures& figures, int64_t blunders, CBundleAdjustment& run);

/// precision.csv, a line a quantity: kind (image, camera, control, check, tie), name, quantity, value,
/// standard deviation, unit, note. Heading alone where there are no standard deviations.
void WritePrecisionTable(const rigorous::BlockProblem& problem, const rigorous::Estimate& estimate,
                         const rigorous::PrecisionFigures& figures, CBundleAdjustment& run);

}  // namespace orvo
