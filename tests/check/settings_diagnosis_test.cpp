// Settings files element by element.
#include "check/SettingsDiagnosis.h"

#include <gtest/gtest.h>

#include "check/CheckTable.h"

namespace orvo::test {
namespace {

const KnownSetting kKnown[] = {
    {SettingKind::Switch, "Use_It", "Use_It", "Adjustment", "1", "false"},
    {SettingKind::Integer, "Rounds", "Rounds", "Adjustment", "20", "0"},
    {SettingKind::Real, "Gcp_Weight", "Gcp_Accuracy", "Weight", "100", "0, a weight without end"},
    {SettingKind::Integer, "Blocks", nullptr, nullptr, "64", ""},
};
const std::string kXml =
    "<Adjustment>\n <Use_It>true</Use_It>\n <Rounds>3</Rounds>\n</Adjustment>\n"
    "<Weight>\n <Gcp_Accuracy>0.01</Gcp_Accuracy>\n</Weight>\n";
const std::string kColon = "Use_It:1\nRounds:3\nGcp_Weight:10\n";

struct Row {
  std::string content;
  const char* findings;
  const char* remedy;  ///< in that of the first finding
};

void ExpectRows(std::span<const Row> rows, const char* name) {
  ScratchFolder folder;
  for (const Row& row : rows) {
    WriteFile(folder / name, row.content);
    Diagnosis diagnosis;
    DiagnoseSettings(folder / name, kKnown, diagnosis);
    EXPECT_EQ(Listed(diagnosis), row.findings) << row.content;
    if (diagnosis.Findings().empty()) continue;
    EXPECT_NE(diagnosis.Findings()[0].szRemedy.find(row.remedy), std::string::npos)
        << diagnosis.Findings()[0].szRemedy;
  }
}

std::string With(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

TEST(SettingsDiagnosis, Xml) {
  const Row rows[] = {
      {kXml, "", ""},
      {With(kXml, "true", "True"), "A004 2:3 'True' is neither true nor false: Use_It", "small letters"},
      {With(kXml, "0.01", "0,01"), "A004 6:3 '0,01' is no number: Gcp_Accuracy", "decimal point"},
      {With(kXml, " <Rounds>3</Rounds>\n", ""), "A006 0:0 Rounds is not there, and counts as 0",
       "Adjustment"},
      {With(kXml, " <Gcp_Accuracy>0.01</Gcp_Accuracy>\n", ""),
       "A006 0:0 Gcp_Accuracy is not there, and counts as 0, a weight without end", "Weight"},
      {With(With(kXml, "<Rounds", "<Round"), "</Rounds", "</Round"),
       "A007 3:3 'Round' is no setting of 'Adjustment'\nA006 0:0 Rounds is not there, and counts as 0",
       "Write Rounds in Adjustment"},
      {With(kXml, "<Weight>\n", "<Weight>\n<Zzzzzzzz/>"), "A008 6:2 'Zzzzzzzz' is no setting of 'Weight'",
       "passed over"},
      {With(kXml, "</Rounds>\n", "</Rounds>\n <Rounds>4</Rounds>\n"),
       "A005 4:3 Rounds stands there a second time", "first one counts"},
      {"<Settings>\n" + kXml + "</Settings>\n",
       "A003 1:2 the settings stand in the element 'Settings', and none is found there", "Take it away"},
      {"<Other/>\n", "A003 0:0 the file holds no setting", "side by side"},
      {"", "A002 0:0 the file holds no element", "Start from"},
      {kXml.substr(0, kXml.size() - 4), "A002 7:3 the file is no XML: start-end tags mismatch", "Start"},
  };
  ExpectRows(rows, "s.xml");
}

TEST(SettingsDiagnosis, ColonForm) {
  const Row rows[] = {
      {kColon, "", ""},
      {With(kColon, "Use_It:1", "Use_It:true"),
       "A004 1:0 'true' is no switch, which is 0 or 1 in this form: Use_It", "key:number"},
      {With(kColon, "Rounds:3\n", ""), "A006 0:0 Rounds is not there, and counts as 20", "something else"},
      {With(kColon, "Rounds:3", "Round:3"),
       "A007 2:1 'Round' is no setting\nA006 0:0 Rounds is not there, and counts as 20", "Write Rounds"},
      {kColon + "Blocks:7\n", "", ""},
      {kColon + "Rounds:4\n", "A005 4:0 Rounds stands in line 2 already", "last one counts"},
      {"nothing\n", "A003 0:0 no line sets anything", "Set_IOP_Unknown:1"},
      {kColon + std::string(600, 'x') + "\n", "S004 4:0 the line is longer than 510 characters", "shorten"}};
  ExpectRows(rows, "s.ini");
}

TEST(SettingsDiagnosis, FileThatIsNotThere) {
  Diagnosis diagnosis;
  DiagnoseSettings("/nowhere/s.xml", kKnown, diagnosis);
  EXPECT_EQ(Listed(diagnosis).substr(0, 4), "A001");
  EXPECT_EQ(diagnosis.ErrorNum(), 1);
}

}  // namespace
}  // namespace orvo::test
