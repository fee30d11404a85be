// The table of the settings of the rigorous method, what is said of them, and the documentation that says the
// same.
#include "settings/RigorousTable.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <vector>

#include "settings/RigorousTexts.h"
#include "settings/RigorousValues.h"
#include "settings/SettingNames.h"
#include "settings/SettingTexts.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

TEST(RigorousTable, HasEveryFieldOnceByItsName) {
  // As the fields of the record stand in their file.
  const std::string header = ReadFile(SourceFolder() + "/src/records/RigorousSettings.h");
  const size_t begin = header.find("struct RigorousSettings"), end = header.find("\n};", begin);
  ASSERT_NE(end, std::string::npos);
  const std::string record = header.substr(begin, end - begin);
  std::set<std::string> names;
  for (const RigorousSetting& setting : RigorousTable()) {
    EXPECT_TRUE(names.insert(setting.szName).second) << setting.szName;
    EXPECT_NE(record.find(std::string(" ") + setting.szName + " = "), std::string::npos) << setting.szName;
    EXPECT_EQ(FindRigorousSetting(setting.szName), &setting);
    EXPECT_EQ(FindSetting(setting.szName).pSetting, nullptr) << setting.szName << " has two meanings";
  }
  size_t fields = 0;
  for (size_t at = record.find(" = "); at != std::string::npos; at = record.find(" = ", at + 1)) ++fields;
  EXPECT_EQ(names.size() + 1, fields) << "kNone is no setting";
  EXPECT_EQ(FindRigorousSetting("sigma_image"), nullptr);
  EXPECT_EQ(FindRigorousSetting(""), nullptr);
}

TEST(RigorousTable, DefaultsAreWhatBlocksWant) {
  for (const RigorousSetting& setting : RigorousTable()) {
    EXPECT_STRNE(setting.szMeaning, "") << setting.szName;
    EXPECT_STRNE(setting.szEffect, "") << setting.szName;
    EXPECT_EQ(std::string(setting.szMeaning).find('|'), std::string::npos) << setting.szName;
    EXPECT_TRUE(IsSensible(setting, RigorousSettings())) << setting.szName;
    EXPECT_EQ(setting.Words.empty(), setting.Kind() != RigorousKind::Word) << setting.szName;
    const bool isNumber = setting.Kind() == RigorousKind::Real || setting.Kind() == RigorousKind::Integer;
    EXPECT_EQ(setting.fLow < setting.fHigh, isNumber) << setting.szName;
    RigorousSettings settings;
    EXPECT_EQ(AssignValue(setting, DefaultOf(setting), settings), "") << setting.szName;
    if (!isNumber) continue;
    // What blocks want can be taken.
    for (const double bound : {setting.fLow, setting.fHigh})
      EXPECT_EQ(AssignValue(setting, PlainNumber(bound), settings), "") << setting.szName << bound;
  }
}

TEST(RigorousTable, TheDocumentationHasTheSameTable) {
  std::vector<std::string> rows, wanted;
  std::istringstream page(ReadFile(SourceFolder() + "/docs/settings.md"));
  bool inTable = false;
  for (std::string line; std::getline(page, line);) {
    if (!line.starts_with("|")) inTable = false;
    if (inTable) rows.push_back(line);
    if (line == "|---|---|---|---|---|---|") inTable = true;
  }
  for (const RigorousSetting& setting : RigorousTable()) wanted.push_back(MarkdownRowOf(setting));
  EXPECT_EQ(rows, wanted) << "orvo settings --method rigorous --list --markdown prints the table";
}

TEST(RigorousTable, AnExplanationHoldsEverything) {
  for (const RigorousSetting& setting : RigorousTable()) {
    const std::string text = ExplanationOf(setting);
    EXPECT_TRUE(text.starts_with(std::string(setting.szName) + ": ")) << text;
    for (const std::string& part : {DefaultOf(setting), SensibleValues(setting), std::string(setting.szUnit),
                                    KindText(setting), std::string("in <Rigorous>")})
      EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    EXPECT_EQ(text.find('`'), std::string::npos) << text;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      const bool isFilled = line.starts_with(" ") || line.starts_with("Takes effect");
      EXPECT_LE(line.size(), isFilled ? 100u : 300u) << line;
    }
  }
  const std::string text = ExplanationOf(*FindRigorousSetting("Prior_Focal"));
  EXPECT_NE(text.find("Allowed        a number from 1e-9 to 1e9, or none\n"), std::string::npos) << text;
}

TEST(RigorousTable, TheNearestNameIsOfEitherTable) {
  EXPECT_EQ(NearestSettingName("Sigma_Imge"), "Sigma_Image");
  EXPECT_EQ(NearestSettingName("lever-arm"), "Lever_Arm");
  EXPECT_EQ(NearestSettingName("GCP_Acuracy"), "GCP_Accuracy");
  EXPECT_EQ(HintForName("Prior_Fokal"), "did you mean Prior_Focal?");
  EXPECT_EQ(HintForName("zzzzzzzzzzzz"), "orvo settings --list tells all");
}

}  // namespace
}  // namespace orvo::test
