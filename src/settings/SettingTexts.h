// What each setting means, in words.
#pragma once

#include <string>
#include <string_view>

#include "settings/SettingsTable.h"

namespace orvo {

/// Texts are Markdown, with links from docs/ on.
struct SettingText {
  const char* szName;  ///< of the field
  const char* szUnit;  ///< of the field; empty without
  /// Values between which a block wants it, both included; not a limit. Of no account for a switch.
  double fLow, fHigh;
  const char* szMeaning;
  const char* szEffect;  ///< in which runs it takes effect; empty: in every adjustment
  /// 0 makes no sense either; a number below 0 never does.
  bool bAboveZero = false;
};

const SettingText& DescriptionOf(const Setting& setting);

/// "switch", "integer", "real".
const char* NameOf(SettingKind kind);

/// A line of an explanation: `head`, and `text` filled into lines behind it, those behind the first indented.
std::string FilledLines(const std::string& head, const std::string& text);

/// Without links, code marks and stars.
std::string PlainText(std::string_view markdown);

/// What the colon form has without it: "true", "36", "0.001"; a real number with a point or an exponent.
std::string DefaultOf(const Setting& setting);

/// As people write it: 1e-6 and 0.001, not 1e-06.
std::string PlainNumber(double value);

/// "1e-8 to 0.01", "true or false".
std::string SensibleValues(const Setting& setting);

/// False where no run consults the setting, or where every run overwrites it.
bool TakesEffect(const Setting& setting);

/// In which forms of a settings file it can be written, as a sentence.
std::string FormsOf(const Setting& setting);

/// The row of the table in docs/settings.md.
std::string MarkdownRowOf(const Setting& setting);

/// Everything about it, in lines for a terminal.
std::string ExplanationOf(const Setting& setting);

}  // namespace orvo
