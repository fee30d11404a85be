// What a person reads of a run on the console.
#pragma once

#include <string>

#include "report/RunFigures.h"

namespace orvo::report {

/// What was read, in a few lines: counts, cameras, strips, control, POS, and what was left out.
std::string CountsText(const BlockCounts& counts);
/// The head of the table of iterations, and one of its lines.
std::string IterationHead();
std::string IterationLine(const IterationFigure& figure);
/// The summary of a finished run, of one screen (24 lines of 80 columns at most), without the verdict.
std::string SummaryText(const RunFigures& figures);

}  // namespace orvo::report
