// A block as the adjustment has it before its first iteration, for benchmarks to start from.
#pragma once

#include <string>

#include "run/BundleAdjustment.h"

namespace orvo::bench {

/// Coordinates as the settings want them, or in the units of the files, as the rigorous method takes them.
enum class PreparedUnits { OfSettings, OfFiles };

/// Reads the files with the readers of the adjustment, transforms and normalises as it does, and intersects
/// the points: the same measurements from the same start, in one section. False after a message on stderr.
bool PrepareBlock(CBundleAdjustment& block, const std::string& project, const std::string& gcp,
                  const std::string& settings, PreparedUnits units = PreparedUnits::OfSettings);

}  // namespace orvo::bench
