#include "settings/RigorousTexts.h"

#include <fmt/format.h>

#include "settings/RigorousValues.h"
#include "settings/SettingTexts.h"

namespace orvo {

std::string KindText(const RigorousSetting& setting) {
  constexpr const char* kNames[] = {"real", "integer", "switch", "list", "word"};
  const char* name = kNames[static_cast<size_t>(setting.Kind())];
  return setting.Limits.bNone ? std::string(name) + " or none" : name;
}

std::string DefaultOf(const RigorousSetting& setting) { return ValueText(setting, RigorousSettings()); }

std::string SensibleValues(const RigorousSetting& setting) {
  const RigorousKind kind = setting.Kind();
  if (kind != RigorousKind::Real && kind != RigorousKind::Integer) return AllowedValues(setting);
  const std::string range = PlainNumber(setting.fLow) + " to " + PlainNumber(setting.fHigh);
  return setting.Limits.bNone ? range + ", or none" : range;
}

std::string MarkdownRowOf(const RigorousSetting& setting) {
  const bool isSwitch = setting.Kind() == RigorousKind::Switch;
  return fmt::format("| `{}` | {} | {} | {} | {} | {} |", setting.szName, KindText(setting),
                     DefaultOf(setting), setting.szUnit, isSwitch ? "" : SensibleValues(setting),
                     setting.szMeaning);
}

std::string ExplanationOf(const RigorousSetting& setting) {
  std::string lines = fmt::format("{}: {}\n\n", setting.szName, PlainText(setting.szMeaning));
  const auto add = [&](const char* what, const std::string& value) {
    if (!value.empty()) lines += FilledLines(what, value);
  };
  const RigorousKind kind = setting.Kind();
  add("Type", KindText(setting));
  add("Default", DefaultOf(setting));
  add("Unit", setting.szUnit);
  add("Sensible", SensibleValues(setting));
  if (kind == RigorousKind::Real || kind == RigorousKind::Integer) add("Allowed", AllowedValues(setting));
  add("Takes effect", "with --method rigorous: " + PlainText(setting.szEffect));
  add("XML form", fmt::format("<{0}>VALUE</{0}> in <{1}>", setting.szName, kRigorousElement));
  add("Colon form", fmt::format("{}:VALUE", setting.szName));
  add("Missing", "the default, in both forms");
  add("Command line", fmt::format("orvo adjust --set {}={}", setting.szName, DefaultOf(setting)));
  return lines;
}

}  // namespace orvo
