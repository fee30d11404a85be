// Reading of the settings, in either form.
#pragma once

#include <string>

#include "base/InputFiles.h"
#include "records/AdjustmentSettings.h"

namespace orvo {

/// Assigns what the file says; ".xml" and ".XML" tell the XML form. False, with the settings left alone, for
/// an empty path and where a file in the colon form can't be opened.
bool ReadSettingsFile(const std::string& path, InputFiles& inputs, AdjustmentSettings& settings);

/// The XML form. What the file lacks is assigned too: switches are off and numbers 0.
void ReadSettingsXmlFile(const std::string& path, InputFiles& inputs, AdjustmentSettings& settings);

}  // namespace orvo
