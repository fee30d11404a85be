// What a guarded run checks of its files before it makes anything.
#pragma once

#include <span>
#include <vector>

#include "check/SettingsCheck.h"
#include "run/EntryPoint.h"

namespace orvo {

/// SettingsTable by names alone.
std::vector<KnownSetting> KnownSettings();

/// The fault of a POS file that is named and not used, or used and not named; empty where it is neither.
std::vector<Finding> CheckPosIsUsed(const RunPaths& paths, bool used);

/// Settings, head of the project, GCP file, POS file, and the size of an .ovt against its counts: all but the
/// points. `ignoreUnused`: a POS file that the settings don't use, or miss, is no fault. Without an error the
/// findings are the notes of what the run will go on without. `overrides` count more than the settings file.
std::vector<Finding> CheckRunInputs(const RunPaths& paths, bool ignoreUnused,
                                    std::span<const SettingOverride> overrides = {});

}  // namespace orvo
