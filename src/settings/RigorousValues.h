// Values of the settings of the rigorous method as text.
#pragma once

#include <string>
#include <string_view>

#include "settings/RigorousTable.h"

namespace orvo {

/// A word, "true", "false", "none", a list of cameras, or the shortest number that reads back the same.
std::string ValueText(const RigorousSetting& setting, const RigorousSettings& settings);

/// What can be taken, as a clause: "a number from 1e-9 to 1e9, or none", "k1k2, brown or brown_affinity".
std::string AllowedValues(const RigorousSetting& setting);

/// Assigns a value that people write: a word of the table, a switch as SwitchIn reads it, a number within its
/// limits. Empty when done; otherwise why not, as a clause behind "VALUE is", with the settings left alone.
std::string AssignValue(const RigorousSetting& setting, std::string_view text, RigorousSettings& settings);

/// Whether a number lies between what blocks want; true for what is no number.
bool IsSensible(const RigorousSetting& setting, const RigorousSettings& settings);

}  // namespace orvo
