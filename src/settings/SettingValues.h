// Values of settings as text.
#pragma once

#include <string>
#include <string_view>

#include "settings/SettingsTable.h"

namespace orvo {

/// "true", "false", or the shortest number that reads back the same.
std::string ValueText(const Setting& setting, const AdjustmentSettings& settings);

/// What the XML element says for it: an accuracy in place of the weight, by the setting's rule.
std::string XmlValueText(const Setting& setting, const AdjustmentSettings& settings);

/// Assigns a value that people write: true, false, on, off, 1, 0 for a switch, else a finite number, whole
/// where it has to be, and nothing behind it. With `xmlRule` a weight is given as the accuracy of the XML
/// form. Empty when done; otherwise why not, as a clause behind "VALUE is", with the settings left alone.
std::string AssignValue(const Setting& setting, std::string_view text, bool xmlRule,
                        AdjustmentSettings& settings);

}  // namespace orvo
