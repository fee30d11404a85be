// Tables of what was measured, for the terminal and for documentation.
#pragma once

#include <string>

#include "report/Results.h"

namespace orvo::bench {

/// Of which cases phases and output files are shown; Usual: of the ones that show most.
enum class ShownPhases { None, Usual, All };

/// In Markdown, with a heading for each: goals, whole runs, phases and output files, the peer, kernels, the
/// device. What was not measured is left out. Takes the runs of the first program only, see Merged.
std::string TablesText(const Results& results, ShownPhases shown);

}  // namespace orvo::bench
