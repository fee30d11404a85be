// --set KEY=VALUE of the subcommands that take settings.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "settings/RigorousOverrides.h"
#include "settings/SettingOverrides.h"

namespace orvo {

/// Declares the option. What the parser lets pass holds, of the settings of the rigorous method as of the
/// others.
void AddSettingOverrides(CLI::App& app, std::vector<std::string>& texts);

/// Of texts that the parser let pass, each setting once. RigorousOverridesOf gives those of the rigorous
/// method.
std::vector<SettingOverride> OverridesOf(const std::vector<std::string>& texts);

}  // namespace orvo
