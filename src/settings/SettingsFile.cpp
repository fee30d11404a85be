#include "settings/SettingsFile.h"

#include <fmt/format.h>

#include "settings/SettingTexts.h"
#include "settings/SettingValues.h"

namespace orvo {
namespace {

constexpr size_t kLineLength = 110;

std::string CommentTextOf(const Setting& setting, const ChosenSettings& chosen) {
  const SettingText& text = DescriptionOf(setting);
  const std::string name = setting.szName, element = setting.szXmlElement;
  std::string comment = (name == element ? "" : name + ": ") + SentenceOf(PlainText(text.szMeaning)) +
                        " Default: " + DefaultOf(setting) + ".";
  if (text.szUnit[0] != '\0') comment += fmt::format(" Unit: {}.", text.szUnit);
  if (setting.Kind() != SettingKind::Switch) {
    comment += setting.rule == XmlRule::Plain
                   ? fmt::format(" Sensible: {}.", SensibleValues(setting))
                   : fmt::format(" The weight is {}; sensible weights: {}.",
                                 ValueText(setting, chosen.Settings), SensibleValues(setting));
  }
  comment += " Takes effect: " + SentenceOf(PlainText(text.szEffect));
  const auto why = chosen.Why.find(name);
  if (why != chosen.Why.end()) comment += " Here: " + SentenceOf(why->second);
  return comment;
}

}  // namespace

std::string SentenceOf(const std::string& text) {
  return text.empty() || text.back() == '.' ? text : text + ".";
}

std::string CommentOf(const std::string& text, size_t indent) {
  const std::string margin(indent, ' ');
  std::string lines, line = margin + "<!--";
  size_t begin = 0;
  const std::string safe = CommentText(text) + " -->";
  while (begin < safe.size()) {
    const size_t end = std::min(safe.find(' ', begin), safe.size());
    const std::string word = safe.substr(begin, end - begin);
    if (line.size() + 1 + word.size() > kLineLength) {
      lines += line + "\n";
      line = margin + "    ";
    }
    line += " " + word;
    begin = end + 1;
  }
  return lines + line + "\n";
}

std::string CommentText(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    if (c == '-' && !safe.empty() && safe.back() == '-') safe += ' ';
    safe += c;
  }
  if (!safe.empty() && safe.back() == '-') safe += ' ';
  return safe;
}

std::string SettingsFileText(const ChosenSettings& chosen, const std::vector<std::string>& head) {
  std::string text, parent;
  for (const std::string& line : head) text += CommentOf(SentenceOf(line), 0);
  for (const std::string& note : chosen.Notes) text += CommentOf(SentenceOf(note), 0);
  text += CommentOf("An element that is missing counts as false or 0: change values, and delete nothing.", 0);
  for (const Setting& setting : SettingsTable()) {
    if (setting.szXmlElement == nullptr) continue;
    if (parent != setting.szXmlParent) {
      if (!parent.empty()) text += fmt::format("</{}>\n", parent);
      parent = setting.szXmlParent;
      text += fmt::format("<{}>\n", parent);
    }
    text += CommentOf(CommentTextOf(setting, chosen), 2);
    text += fmt::format("  <{0}>{1}</{0}>\n", setting.szXmlElement, XmlValueText(setting, chosen.Settings));
  }
  return text + fmt::format("</{}>\n", parent);
}

}  // namespace orvo
