// A settings file in the XML form, with every element explained.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/SettingPresets.h"

namespace orvo {

/// The whole file. `head`: lines of the comment that it begins with.
std::string SettingsFileText(const ChosenSettings& chosen, const std::vector<std::string>& head);

/// Text that may stand in a comment of XML, where no two hyphens may meet.
std::string CommentText(std::string_view text);

}  // namespace orvo
