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

/// With a full stop behind it, where it lacks one and is not empty.
std::string SentenceOf(const std::string& text);

/// A comment of XML whose lines are filled: `indent` blanks before the first, more before the others.
std::string CommentOf(const std::string& text, size_t indent);

}  // namespace orvo
