#include "settings/SettingOverrides.h"

#include "settings/SettingNames.h"
#include "settings/SettingRanges.h"
#include "settings/SettingValues.h"

namespace orvo {

std::string ParseOverride(std::string_view text, SettingOverride& result) {
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos || equals == 0)
    return "'" + std::string(text) + "' is no KEY=VALUE, such as Max_LM_Iteration_Num=30";
  const std::string_view key = text.substr(0, equals), value = text.substr(equals + 1);
  const NamedSetting named = FindSetting(key);
  if (named.pSetting == nullptr) return "there is no setting '" + std::string(key) + "': " + HintForName(key);
  AdjustmentSettings trial;
  if (const std::string fault = AssignValue(*named.pSetting, value, named.bXmlName, trial); !fault.empty())
    return "'" + std::string(value) + "' for " + std::string(key) + " is " + fault;
  if (const std::string limit = MissedLimit(*named.pSetting, named.bXmlName, trial); !limit.empty()) {
    return "'" + std::string(value) + "' for " + std::string(key) + " makes no sense: it has to be " + limit +
           "; blocks want " + SensibleRange(*named.pSetting, named.bXmlName);
  }
  result = {named.pSetting, std::string(value), named.bXmlName};
  return {};
}

void ApplyOverrides(std::span<const SettingOverride> overrides, AdjustmentSettings& settings) {
  for (const SettingOverride& one : overrides)
    AssignValue(*one.pSetting, one.szValue, one.bXmlName, settings);
}

}  // namespace orvo
