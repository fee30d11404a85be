// The documentation and the program must not drift apart.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <vector>

#include "settings/SettingsTable.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

std::string Trimmed(const std::string& text) {
  const size_t begin = text.find_first_not_of(" `");
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" `") - begin + 1);
}

/// The rows of every Markdown table of a text, cells trimmed and without code marks.
std::vector<std::vector<std::string>> TableRows(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line[0] != '|') continue;
    std::vector<std::string> cells;
    std::istringstream fields(line.substr(1));
    for (std::string cell; std::getline(fields, cell, '|');) cells.push_back(Trimmed(cell));
    rows.push_back(cells);
  }
  return rows;
}

std::string OrDash(const char* text) { return text == nullptr ? "-" : text; }

TEST(Docs, EverySettingStandsInTheSettingsTable) {
  std::map<std::string, std::vector<std::string>> byField;
  for (const auto& row : TableRows(ReadFile(SourceFolder() + "/docs/settings.md"))) {
    if (row.size() >= 6) byField[row[0]] = row;
  }
  const AdjustmentSettings block;
  for (const Setting& setting : SettingsTable()) {
    ASSERT_TRUE(byField.count(setting.szName)) << setting.szName << " is missing in docs/settings.md";
    const auto& row = byField[setting.szName];
    EXPECT_EQ(row[1], OrDash(setting.szColonKey)) << setting.szName;
    EXPECT_EQ(row[2], OrDash(setting.szXmlElement)) << setting.szName;
    EXPECT_EQ(row[3], OrDash(setting.szXmlParent)) << setting.szName;
    const std::string& stated = row[5];
    if (auto field = std::get_if<bool AdjustmentSettings::*>(&setting.field)) {
      EXPECT_EQ(stated, block.*(*field) ? "true" : "false") << setting.szName;
    } else {
      const double value =
          std::visit([&](auto member) { return static_cast<double>(block.*member); }, setting.field);
      EXPECT_EQ(std::stod(stated), value) << setting.szName;
    }
  }
}

}  // namespace
}  // namespace orvo::test
