// Which values of a setting mean something, and which blocks want, as a command line writes them.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "settings/SettingOverrides.h"

namespace orvo {

/// "above 0" or "0 or more" where the value in `settings` is not, and so means nothing; empty where it is.
/// @param xmlName  the value was that of the XML element: an accuracy in place of a weight
std::string MissedLimit(const Setting& setting, bool xmlName, const AdjustmentSettings& settings);

/// As SensibleValues, in accuracies where those are given.
std::string SensibleRange(const Setting& setting, bool xmlName);

/// Each setting once, in the order in which they are named first, with the value that counts: the last.
std::vector<SettingOverride> InForce(std::span<const SettingOverride> overrides);

/// What is odd about those of these texts KEY=VALUE, all of which hold, that are in force: each a clause that
/// begins with "warning: " or "note: ". A value outside of those that blocks want, and a setting that no run
/// consults. Settings of the rigorous method may be among them: no other run consults those.
std::vector<std::string> RemarksOn(std::span<const std::string> texts, bool rigorousMethod = false);

}  // namespace orvo
