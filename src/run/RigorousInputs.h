// The settings of the rigorous method in a run.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "check/RigorousReading.h"
#include "report/RunFigures.h"

namespace orvo {

class CBundleAdjustment;

/// Reads them into the run, and tells the log what counts more than the file. False, with the reasons among
/// the refusals, where something is wrong with them.
bool TakeRigorousSettings(CBundleAdjustment& run, const std::string& path,
                          std::span<const RigorousOverride> overrides);

/// All of them, in the order of the table.
std::vector<report::SettingFigure> RigorousFiguresOf(const RigorousReading& reading);

}  // namespace orvo
