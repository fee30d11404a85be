// What a rigorous run left out, as it is told: in the log, to the verdict, and in a table.
#pragma once

#include "rigorous/BlockProblem.h"
#include "rigorous/RobustAdjust.h"

namespace orvo {

class CBundleAdjustment;

/// Lines of the log, and what the verdict judges. Points have to be in memory.
void TellBlunders(const rigorous::BlockProblem& problem, const rigorous::RobustResult& result,
                  CBundleAdjustment& run);

/// blunders.csv: control points that were set aside, then the measurements that were left out, each with the
/// largest test value first, and what could not be tested last. Where they stand is looked up in the files.
void WriteBlunderTable(const rigorous::BlockProblem& problem, const rigorous::RobustResult& result,
                       CBundleAdjustment& run);

}  // namespace orvo
