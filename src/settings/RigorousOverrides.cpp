#include "settings/RigorousOverrides.h"

#include <algorithm>

#include "settings/RigorousTexts.h"
#include "settings/RigorousValues.h"
#include "settings/SettingNames.h"

namespace orvo {

bool NamesRigorousSetting(std::string_view text) {
  return FindRigorousSetting(text.substr(0, text.find('='))) != nullptr;
}

std::string ParseOverride(std::string_view text, RigorousOverride& result) {
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos || equals == 0)
    return "'" + std::string(text) + "' is no KEY=VALUE, such as Sigma_Image=0.3";
  const std::string key(text.substr(0, equals)), value(text.substr(equals + 1));
  const RigorousSetting* setting = FindRigorousSetting(key);
  if (setting == nullptr) return "there is no setting '" + key + "': " + HintForName(key);
  RigorousSettings trial;
  if (const std::string fault = AssignValue(*setting, value, trial); !fault.empty())
    return "'" + value + "' for " + key + " is " + fault;
  result = {setting, value};
  return {};
}

std::vector<RigorousOverride> RigorousOverridesOf(std::span<const std::string> texts) {
  std::vector<RigorousOverride> result;
  for (const std::string& text : texts) {
    RigorousOverride one;
    if (!ParseOverride(text, one).empty()) continue;
    const auto same = std::ranges::find(result, one.pSetting, &RigorousOverride::pSetting);
    if (same == result.end()) {
      result.push_back(one);
    } else {
      *same = one;
    }
  }
  return result;
}

void ApplyOverrides(std::span<const RigorousOverride> overrides, RigorousSettings& settings) {
  for (const RigorousOverride& one : overrides) AssignValue(*one.pSetting, one.szValue, settings);
}

std::vector<std::string> RigorousRemarksOn(std::span<const std::string> texts) {
  std::vector<std::string> remarks;
  for (const RigorousOverride& one : RigorousOverridesOf(texts)) {
    RigorousSettings trial;
    AssignValue(*one.pSetting, one.szValue, trial);
    if (IsSensible(*one.pSetting, trial)) continue;
    remarks.push_back(std::string("warning: ") + one.pSetting->szName + "=" + one.szValue +
                      " is outside of what blocks want, " + SensibleValues(*one.pSetting));
  }
  return remarks;
}

}  // namespace orvo
