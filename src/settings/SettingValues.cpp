#include "settings/SettingValues.h"

#include <fmt/format.h>

#include <cmath>
#include <optional>

#include "base/Scan.h"

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

std::optional<bool> SwitchOf(std::string_view text) {
  for (const char* on : {"true", "on", "1"}) {
    if (text == on) return true;
  }
  for (const char* off : {"false", "off", "0"}) {
    if (text == off) return false;
  }
  return std::nullopt;
}

template <typename Value, typename Read>
std::optional<Value> NumberOf(std::string_view text, const Read& read) {
  FieldScanner fields(text);
  std::string_view more;
  Value value = 0;
  if (text.empty() || !read(fields, value) || !fields.NumbersAreWhole() || fields.Word(more))
    return std::nullopt;
  return value;
}

/// Decimal figures alone: no hexadecimal form, no "infinity".
bool IsDecimal(std::string_view text) {
  return text.find_first_not_of("0123456789+-.eE") == std::string_view::npos;
}

/// Whether a number that reads as 0 is written as something else, too small to be told from it.
bool IsLost(std::string_view text) {
  return text.substr(0, text.find_first_of("eE")).find_first_of("123456789") != std::string_view::npos;
}

std::string AssignReal(const Setting& setting, std::string_view text, bool xmlRule, double& field) {
  const auto value =
      NumberOf<double>(text, [](FieldScanner& fields, double& read) { return fields.Real(read); });
  if (!value || !std::isfinite(*value) || !IsDecimal(text)) return "no number";
  if (*value == 0 && IsLost(text)) return "too small to be told from 0";
  const double result = xmlRule ? ByRule(setting.rule, *value) : *value;
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
    const auto value = SwitchOf(text);
    if (!value) return "no switch: write true or false";
    settings.** on = *value;
    return {};
  }
  const auto value =
      NumberOf<int32_t>(text, [](FieldScanner& fields, int32_t& read) { return fields.Int(read); });
  if (!value || !IsDecimal(text)) return "no whole number";
  settings.*std::get<int32_t C::*>(setting.field) = *value;
  return {};
}

}  // namespace orvo
