#include "settings/SettingNames.h"

#include "base/NearestName.h"
#include "settings/RigorousTable.h"

namespace orvo {
namespace {

bool Is(const char* name, std::string_view text) { return name != nullptr && text == name; }

}  // namespace

NamedSetting FindSetting(std::string_view name) {
  for (const Setting& setting : SettingsTable()) {
    if (Is(setting.szName, name) || Is(setting.szColonKey, name)) return {&setting, false};
  }
  for (const Setting& setting : SettingsTable()) {
    if (Is(setting.szXmlElement, name)) return {&setting, true};
  }
  return {};
}

std::string NearestSettingName(std::string_view name) {
  std::vector<std::string> names;
  for (const Setting& setting : SettingsTable()) {
    for (const char* one : {setting.szName, setting.szColonKey, setting.szXmlElement}) {
      if (one != nullptr && (names.empty() || names.back() != one)) names.emplace_back(one);
    }
  }
  for (const RigorousSetting& setting : RigorousTable()) names.emplace_back(setting.szName);
  return NearestName(name, names);
}

std::string HintForName(std::string_view name) {
  const std::string nearest = NearestSettingName(name);
  return nearest.empty() ? "orvo settings --list tells all" : "did you mean " + nearest + "?";
}

}  // namespace orvo
