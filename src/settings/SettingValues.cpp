#include "settings/SettingValues.h"

#include <fmt/format.h>

#include <cmath>

#include "base/Scan.h"
#include "settings/ValueTexts.h"

namespace orvo {
namespace {

using C = AdjustmentSettings;

double ByRule(XmlRule rule, double value) {
  switch (rule) {
    case XmlRule::MilliOverValue:
      return 0.001 / value;
    case XmlRule::OneOverValue:
      return 1.0 / value;
    case XmlRule::Plain:
      break;
  }
  return value;
}

std::string AssignReal(const Setting& setting, std::string_view text, bool xmlRule, double& field) {
  double value = 0;
  if (std::string fault = ReadDecimal(text, value); !fault.empty()) return fault;
  const double result = xmlRule ? ByRule(setting.rule, value) : value;
  if (!std::isfinite(result)) return "an accuracy that makes a weight without end";
  field = result;
  return {};
}

}  // namespace

std::string ValueText(const Setting& setting, const AdjustmentSettings& settings) {
  return std::visit([&](auto field) { return fmt::format("{}", settings.*field); }, setting.field);
}

std::string XmlValueText(const Setting& setting, const AdjustmentSettings& settings) {
  const auto* real = std::get_if<double C::*>(&setting.field);
  if (real == nullptr || setting.rule == XmlRule::Plain) return ValueText(setting, settings);
  const double accuracy = ByRule(setting.rule, settings.**real);
  // A digit less, where the weight that is read back is the same.
  std::string shorter = fmt::format("{:.15g}", accuracy);
  const bool same = ByRule(setting.rule, ParseReal(shorter)) == settings.**real;
  return same ? shorter : fmt::format("{}", accuracy);
}

std::string AssignValue(const Setting& setting, std::string_view text, bool xmlRule,
                        AdjustmentSettings& settings) {
  if (const auto* real = std::get_if<double C::*>(&setting.field))
    return AssignReal(setting, text, xmlRule, settings.**real);
  if (const auto* on = std::get_if<bool C::*>(&setting.field)) {
    const auto value = SwitchIn(text);
    if (!value) return "no switch: write true or false";
    settings.** on = *value;
    return {};
  }
  return ReadWholeNumber(text, settings.*std::get<int32_t C::*>(setting.field));
}

}  // namespace orvo
