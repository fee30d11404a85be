#include "settings/SettingRanges.h"

#include <algorithm>

#include "settings/RigorousOverrides.h"
#include "settings/SettingTexts.h"
#include "settings/SettingValues.h"

namespace orvo {
namespace {

using C = AdjustmentSettings;

/// The value of a setting that is no switch.
double NumberIn(const Setting& setting, const AdjustmentSettings& settings) {
  if (const auto* real = std::get_if<double C::*>(&setting.field)) return settings.**real;
  return settings.*std::get<int32_t C::*>(setting.field);
}

/// Under the XML name an accuracy stands in place of the weight.
bool IsAccuracy(const Setting& setting, bool xmlName) { return xmlName && setting.rule != XmlRule::Plain; }

std::vector<std::string> RemarksOnOne(const std::string& name, const SettingOverride& one) {
  const Setting& setting = *one.pSetting;
  const SettingText& text = DescriptionOf(setting);
  std::vector<std::string> remarks;
  if (!TakesEffect(setting))
    remarks.push_back("note: " + name + " has no effect: " + PlainText(text.szMeaning));
  if (setting.Kind() == SettingKind::Switch || !TakesEffect(setting)) return remarks;
  AdjustmentSettings trial;
  AssignValue(setting, one.szValue, one.bXmlName, trial);
  const double value = NumberIn(setting, trial);
  // What an accuracy is divided into need not be the bound to its last bit.
  constexpr double kSlack = 1e-12;
  if (value < text.fLow * (1 - kSlack) || value > text.fHigh * (1 + kSlack)) {
    remarks.push_back("warning: " + name + "=" + one.szValue + " is outside of what blocks want, " +
                      SensibleRange(setting, one.bXmlName));
  }
  return remarks;
}

/// Of a run by another method.
std::vector<std::string> NotesOnRigorous(std::span<const std::string> texts) {
  std::vector<std::string> notes;
  for (const RigorousOverride& one : RigorousOverridesOf(texts))
    notes.push_back(std::string("note: ") + one.pSetting->szName +
                    " has no effect: it is a setting of --method rigorous");
  return notes;
}

}  // namespace

std::string MissedLimit(const Setting& setting, bool xmlName, const AdjustmentSettings& settings) {
  if (setting.Kind() == SettingKind::Switch) return {};
  const double value = NumberIn(setting, settings);
  const bool aboveZero = DescriptionOf(setting).bAboveZero || IsAccuracy(setting, xmlName);
  if (aboveZero) return value > 0 ? "" : "above 0";
  return value >= 0 ? "" : "0 or more";
}

std::string SensibleRange(const Setting& setting, bool xmlName) {
  if (!IsAccuracy(setting, xmlName)) return SensibleValues(setting);
  const SettingText& text = DescriptionOf(setting);
  const double factor = setting.rule == XmlRule::MilliOverValue ? 0.001 : 1.0;
  return PlainNumber(factor / text.fHigh) + " to " + PlainNumber(factor / text.fLow);
}

std::vector<SettingOverride> InForce(std::span<const SettingOverride> overrides) {
  std::vector<SettingOverride> result;
  for (const SettingOverride& one : overrides) {
    const auto same = std::ranges::find(result, one.pSetting, &SettingOverride::pSetting);
    if (same == result.end()) {
      result.push_back(one);
    } else {
      *same = one;
    }
  }
  return result;
}

std::vector<std::string> RemarksOn(std::span<const std::string> texts, bool rigorousMethod) {
  std::vector<SettingOverride> all(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) ParseOverride(texts[i], all[i]);
  std::vector<std::string> remarks;
  for (size_t i = 0; i < texts.size(); ++i) {
    if (all[i].pSetting == nullptr) continue;
    const std::span<const SettingOverride> later = std::span(all).subspan(i + 1);
    if (std::ranges::find(later, all[i].pSetting, &SettingOverride::pSetting) != later.end()) continue;
    const std::vector<std::string> more = RemarksOnOne(texts[i].substr(0, texts[i].find('=')), all[i]);
    remarks.insert(remarks.end(), more.begin(), more.end());
  }
  const auto others = rigorousMethod ? RigorousRemarksOn(texts) : NotesOnRigorous(texts);
  remarks.insert(remarks.end(), others.begin(), others.end());
  return remarks;
}

}  // namespace orvo
