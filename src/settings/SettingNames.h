// Settings by any of their names.
#pragma once

#include <string>
#include <string_view>

#include "settings/SettingsTable.h"

namespace orvo {

struct NamedSetting {
  const Setting* pSetting = nullptr;  ///< null where there is none of this name
  bool bXmlName = false;              ///< it is the name of the XML element alone
};

/// By field, colon key or XML element, as they are written in files.
NamedSetting FindSetting(std::string_view name);

/// The name that a misspelt one was meant to be, of these settings or of those of the rigorous method; empty
/// where none is near.
std::string NearestSettingName(std::string_view name);

/// What helps somebody who has written a name that there is not: the nearest, as a question, or where all
/// are.
std::string HintForName(std::string_view name);

}  // namespace orvo
