// A settings file of either form, read strictly.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "check/Finding.h"
#include "settings/SettingsTable.h"

namespace orvo {

/// A setting by its names; null where a form has none for it.
struct KnownSetting {
  SettingKind Kind = SettingKind::Switch;
  const char* szColonKey = nullptr;
  const char* szXmlElement = nullptr;
  const char* szXmlParent = nullptr;
  std::string szDefault{};     ///< what the colon form has without it
  std::string szXmlMissing{};  ///< what the XML form has without it
};

/// By the extension, .xml and .XML against all others, as the reader of a run chooses.
std::vector<Finding> CheckSettings(const std::string& path, std::span<const KnownSetting> known);
std::vector<Finding> CheckXmlSettings(const std::string& path, std::span<const KnownSetting> known);
std::vector<Finding> CheckColonSettings(const std::string& path, std::span<const KnownSetting> known);

/// Why `text` is no value of the kind, as a clause behind "VALUE is"; empty where it is one.
std::string FaultOfValue(std::string_view text, SettingKind kind, bool xml);

}  // namespace orvo
