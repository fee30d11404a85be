// Settings that a command line says, which count more than those of the file.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "settings/SettingsTable.h"

namespace orvo {

/// One KEY=VALUE that was found to hold.
struct SettingOverride {
  const Setting* pSetting = nullptr;
  std::string szValue;
  bool bXmlName = false;  ///< the value is that of the XML element: an accuracy in place of a weight
};

/// Takes KEY=VALUE apart. Empty when `result` holds; otherwise what is wrong with the text, as a clause with
/// what helps.
std::string ParseOverride(std::string_view text, SettingOverride& result);

/// In their order, so that the last one of a setting counts.
void ApplyOverrides(std::span<const SettingOverride> overrides, AdjustmentSettings& settings);

}  // namespace orvo
