// --set KEY=VALUE of the subcommands that take settings.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "settings/SettingOverrides.h"

namespace orvo {

/// Declares the option. What the parser lets pass holds.
void AddSettingOverrides(CLI::App& app, std::vector<std::string>& texts);

/// Of texts that the parser let pass, each setting once.
std::vector<SettingOverride> OverridesOf(const std::vector<std::string>& texts);

}  // namespace orvo
