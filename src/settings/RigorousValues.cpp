#include "settings/RigorousValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "settings/CameraSigmaTexts.h"
#include "settings/SettingTexts.h"
#include "settings/ValueTexts.h"

namespace orvo {
namespace {

template <typename Word>
constexpr bool kIsWord = std::is_enum_v<std::remove_reference_t<Word>>;

/// "a", "a or b", "a, b or c".
std::string OneOf(std::span<const char* const> words) {
  std::string text;
  for (size_t i = 0; i < words.size(); ++i)
    text += (i == 0 ? "" : i + 1 < words.size() ? ", " : " or ") + std::string(words[i]);
  return text;
}

std::string AssignWord(const RigorousSetting& setting, std::string_view text, RigorousSettings& settings) {
  const auto word = std::ranges::find_if(setting.Words, [&](const char* one) { return text == one; });
  if (word == setting.Words.end()) return "none of its words: write " + OneOf(setting.Words);
  std::visit(
      [&](auto field) {
        auto& value = settings.*field;
        if constexpr (kIsWord<decltype(value)>)
          value = static_cast<std::remove_reference_t<decltype(value)>>(word - setting.Words.begin());
      },
      setting.field);
  return {};
}

bool IsAllowed(double value, const RigorousLimits& limits) {
  return (limits.bZero && value == 0) || (value >= limits.fLeast && value <= limits.fMost);
}

std::string AssignReal(const RigorousSetting& setting, std::string_view text, double& field) {
  const RigorousLimits& limits = setting.Limits;
  if (limits.bNone && text == "none") {
    field = RigorousSettings::kNone;
    return {};
  }
  double value = 0;
  if (const std::string fault = ReadDecimal(text, value); !fault.empty())
    return limits.bNone ? fault + ", and not none" : fault;
  if (!IsAllowed(value, limits)) return "outside of what it can be: " + AllowedValues(setting);
  field = value + 0.0;  // no -0
  return {};
}

std::string AssignInteger(const RigorousSetting& setting, std::string_view text, int32_t& field) {
  int32_t value = 0;
  if (std::string fault = ReadWholeNumber(text, value); !fault.empty()) return fault;
  if (!IsAllowed(value, setting.Limits)) return "outside of what it can be: " + AllowedValues(setting);
  field = value;
  return {};
}

}  // namespace

std::string ValueText(const RigorousSetting& setting, const RigorousSettings& settings) {
  return std::visit(
      [&](auto field) -> std::string {
        const auto& value = settings.*field;
        if constexpr (kIsWord<std::remove_cvref_t<decltype(value)>>) {
          const auto place = static_cast<size_t>(value);
          return place < setting.Words.size() ? setting.Words[place] : "";
        } else if constexpr (std::is_same_v<std::remove_cvref_t<decltype(value)>, CameraSigmas>) {
          return CameraSigmaText(value);
        } else {
          if (setting.Limits.bNone && value == RigorousSettings::kNone) return "none";
          return fmt::format("{}", value);
        }
      },
      setting.field);
}

std::string AllowedValues(const RigorousSetting& setting) {
  const RigorousLimits& limits = setting.Limits;
  const std::string range = PlainNumber(limits.fLeast) + " to " + PlainNumber(limits.fMost);
  switch (setting.Kind()) {
    case RigorousKind::Word:
      return OneOf(setting.Words);
    case RigorousKind::Switch:
      return "true or false";
    case RigorousKind::CameraList:
      return kCameraSigmaForm;
    case RigorousKind::Integer:
      return "a whole number from " + range;
    case RigorousKind::Real:
      break;
  }
  return (limits.bZero ? "0, or a number from " : "a number from ") + range +
         (limits.bNone ? ", or none" : "");
}

std::string AssignValue(const RigorousSetting& setting, std::string_view text, RigorousSettings& settings) {
  if (const auto* real = std::get_if<double RigorousSettings::*>(&setting.field))
    return AssignReal(setting, text, settings.**real);
  if (const auto* number = std::get_if<int32_t RigorousSettings::*>(&setting.field))
    return AssignInteger(setting, text, settings.**number);
  if (const auto* on = std::get_if<bool RigorousSettings::*>(&setting.field)) {
    const auto value = SwitchIn(text);
    if (!value) return "no switch: write true or false";
    settings.** on = *value;
    return {};
  }
  if (const auto* cameras = std::get_if<CameraSigmas RigorousSettings::*>(&setting.field))
    return ReadCameraSigmas(text, setting.Limits.fLeast, setting.Limits.fMost, settings.**cameras);
  return AssignWord(setting, text, settings);
}

bool IsSensible(const RigorousSetting& setting, const RigorousSettings& settings) {
  double value = 0;
  if (const auto* real = std::get_if<double RigorousSettings::*>(&setting.field)) {
    value = settings.**real;
  } else if (const auto* number = std::get_if<int32_t RigorousSettings::*>(&setting.field)) {
    value = settings.**number;
  } else {
    return true;
  }
  return (setting.Limits.bNone && value == RigorousSettings::kNone) ||
         (value >= setting.fLow && value <= setting.fHigh);
}

}  // namespace orvo
