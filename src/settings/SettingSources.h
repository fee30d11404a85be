// Where the settings of a run come from.
#pragma once

#include <vector>

#include "settings/SettingsTable.h"

namespace orvo {

/// Rows of the table.
using SettingList = std::vector<const Setting*>;

/// What is in neither list is a default.
struct SettingSources {
  SettingList InFile;  ///< in the XML form also what the file lacks, for that counts as 0
  SettingList OnCommandLine;
};

}  // namespace orvo
