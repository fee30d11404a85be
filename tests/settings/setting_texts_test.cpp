// What is said of settings, and the documentation that says the same.
#include "settings/SettingTexts.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "settings/SettingValues.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

TEST(SettingTexts, EverySettingIsDescribed) {
  const AdjustmentSettings defaults;
  for (const Setting& setting : SettingsTable()) {
    const SettingText& text = DescriptionOf(setting);
    EXPECT_STREQ(text.szName, setting.szName);
    EXPECT_STRNE(text.szMeaning, "") << setting.szName;
    EXPECT_STRNE(text.szEffect, "") << setting.szName;
    EXPECT_EQ(std::string(text.szMeaning).find('|'), std::string::npos) << setting.szName;
    if (setting.Kind() == SettingKind::Switch) continue;
    EXPECT_LT(text.fLow, text.fHigh) << setting.szName;
    const double value = std::stod(ValueText(setting, defaults));
    EXPECT_GE(value, text.fLow) << setting.szName;
    EXPECT_LE(value, text.fHigh) << setting.szName;
  }
}

TEST(SettingTexts, TheDocumentationHasTheSameTable) {
  std::vector<std::string> rows, wanted;
  std::istringstream page(ReadFile(SourceFolder() + "/docs/settings.md"));
  bool inTable = false;
  for (std::string line; std::getline(page, line);) {
    if (!line.starts_with("|")) inTable = false;
    if (inTable) rows.push_back(line);
    if (line == "|---|---|---|---|---|---|---|---|---|") inTable = true;
  }
  for (const Setting& setting : SettingsTable()) wanted.push_back(MarkdownRowOf(setting));
  EXPECT_EQ(rows, wanted) << "orvo settings --list --markdown prints the table";
}

TEST(SettingTexts, PlainTextHasNoMarks) {
  const struct {
    const char *markdown, *plain;
  } rows[] = {{"a `b` **c**", "a b c"},
              {"see [Units and scales](formats.md#units)!", "see Units and scales!"},
              {"[a](b) and [c](d)", "a and c"},
              {"", ""}};
  for (const auto& row : rows) EXPECT_EQ(PlainText(row.markdown), row.plain);
}

TEST(SettingTexts, AnExplanationHasAllNames) {
  for (const Setting& setting : SettingsTable()) {
    const std::string text = ExplanationOf(setting);
    for (const char* name : {setting.szName, setting.szColonKey, setting.szXmlElement, setting.szXmlParent}) {
      if (name == nullptr) continue;
      EXPECT_NE(text.find(name), std::string::npos) << name << "\n" << text;
    }
    EXPECT_EQ(text.find('`'), std::string::npos) << text;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      const bool isFilled = line.starts_with(" ") || line.starts_with("Takes effect");
      EXPECT_LE(line.size(), isFilled ? 100u : 300u) << line;
    }
  }
}

}  // namespace
}  // namespace orvo::test
