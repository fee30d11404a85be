// Reading of the settings, in either form.
#pragma once

#include <span>
#include <string>

#include "base/InputFiles.h"
#include "settings/SettingOverrides.h"
#include "settings/SettingSources.h"

namespace orvo {

class CBundleAdjustment;

/// Assigns what the file says; ".xml" and ".XML" tell the XML form. False, with the settings left alone, for
/// an empty path and where a file in the colon form can't be opened. `written`, where there is one, gets
/// every setting that the file assigns.
bool ReadSettingsFile(const std::string& path, InputFiles& inputs, AdjustmentSettings& settings,
                      SettingList* written = nullptr);

/// The XML form. What the file lacks is assigned too: switches are off and numbers 0.
void ReadSettingsXmlFile(const std::string& path, InputFiles& inputs, AdjustmentSettings& settings,
                         SettingList* written = nullptr);

/// Behind the reading of the settings of a run: what counts more than the file, each told to the log.
void OverrideSettings(CBundleAdjustment& run, std::span<const SettingOverride> overrides);

}  // namespace orvo
