#include "check/RigorousReading.h"

#include <algorithm>

#include "base/Platform.h"
#include "check/RigorousForms.h"
#include "check/StrictLines.h"
#include "settings/RigorousTexts.h"
#include "settings/RigorousValues.h"
#include "settings/SettingNames.h"

namespace orvo {
namespace {

bool Holds(const RigorousList& list, const RigorousSetting& setting) {
  return std::ranges::find(list, &setting) != list.end();
}

}  // namespace

std::string ValueOfSetting(const RigorousSetting& setting, std::string_view text) {
  return (text.empty() ? "an empty value" : Quoted(text)) + " for " + setting.szName + " is ";
}

std::string TakeRigorousValue(const RigorousSetting& setting, std::string_view text,
                              RigorousReading& reading) {
  if (const std::string fault = AssignValue(setting, text, reading.Settings); !fault.empty())
    return ValueOfSetting(setting, text) + fault;
  if (!Holds(reading.InFile, setting)) reading.InFile.push_back(&setting);
  return {};
}

std::string RemedyOf(const RigorousSetting& setting) {
  if (setting.Kind() == RigorousKind::Word)
    return std::string("orvo settings --explain ") + setting.szName + " tells what they mean";
  const bool isNumber = setting.Kind() == RigorousKind::Real || setting.Kind() == RigorousKind::Integer;
  return "Write " + AllowedValues(setting) + (isNumber ? "; blocks want " + SensibleValues(setting) : "");
}

SettingOrigin RigorousReading::OriginOf(const RigorousSetting& setting) const {
  if (Holds(OnCommandLine, setting)) return SettingOrigin::CommandLine;
  return Holds(InFile, setting) ? SettingOrigin::File : SettingOrigin::Default;
}

RigorousReading ReadRigorousSettings(const std::string& path, std::span<const RigorousOverride> overrides) {
  RigorousReading reading;
  const std::string extension = TextFromLastDot(path);
  if (extension == ".xml" || extension == ".XML") {
    ReadRigorousXml(path, reading);
  } else if (!path.empty()) {
    ReadRigorousColons(path, reading);
  }
  ApplyOverrides(overrides, reading.Settings);
  for (const RigorousOverride& one : overrides) {
    if (!Holds(reading.OnCommandLine, *one.pSetting)) reading.OnCommandLine.push_back(one.pSetting);
  }
  return reading;
}

bool IsMeantForRigorous(std::string_view name) {
  return FindRigorousSetting(name) != nullptr ||
         (FindSetting(name).pSetting == nullptr && FindRigorousSetting(NearestSettingName(name)) != nullptr);
}

}  // namespace orvo
