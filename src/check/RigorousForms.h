// The settings of the rigorous method in either form of a settings file.
#pragma once

#include <string>
#include <string_view>

#include "check/RigorousReading.h"

namespace orvo {

/// Both put settings, what the file assigns, and findings into `reading`.
void ReadRigorousXml(const std::string& path, RigorousReading& reading);
void ReadRigorousColons(const std::string& path, RigorousReading& reading);

/// Assigns one value of a file, without blanks at its ends. Empty when done; otherwise why not:
/// "'0,3' for Sigma_Image is no number".
std::string TakeRigorousValue(const RigorousSetting& setting, std::string_view text,
                              RigorousReading& reading);
/// "'0,3' for Sigma_Image is "
std::string ValueOfSetting(const RigorousSetting& setting, std::string_view text);
/// What helps with a value that is none.
std::string RemedyOf(const RigorousSetting& setting);

}  // namespace orvo
