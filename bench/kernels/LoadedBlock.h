// The blocks that the kernels work on, each prepared once and kept for all benchmarks.
#pragma once

#include <string>
#include <vector>

#include "run/BundleAdjustment.h"

namespace orvo::bench {

/// The block of a case (see `orvo_bench list`) as it stands before its first iteration. Ends the program
/// where it can't be made.
CBundleAdjustment& LoadedBlock(const std::string& caseName);

/// The same with pattern, and equations of the first iteration in the sparse form.
CBundleAdjustment& AssembledBlock(const std::string& caseName);

/// Files of the case.
std::string ProjectOf(const std::string& caseName);

}  // namespace orvo::bench
