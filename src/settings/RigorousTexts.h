// What each setting of the rigorous method means, in words.
#pragma once

#include <string>

#include "settings/RigorousTable.h"

namespace orvo {

/// "real", "real or none", "integer", "switch", "word".
std::string KindText(const RigorousSetting& setting);

/// "0.5", "none", "auto".
std::string DefaultOf(const RigorousSetting& setting);

/// "0.05 to 5", "true or false", "none, given or estimate"; of a prior with "or none" behind it.
std::string SensibleValues(const RigorousSetting& setting);

/// The row of its table in docs/settings.md.
std::string MarkdownRowOf(const RigorousSetting& setting);

/// Everything about it, in lines for a terminal.
std::string ExplanationOf(const RigorousSetting& setting);

}  // namespace orvo
