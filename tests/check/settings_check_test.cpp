// Settings files of both forms: what is refused, what is told.
#include "check/SettingsCheck.h"

#include <gtest/gtest.h>

#include "check/FindingTable.h"
#include "run/InputCheck.h"

namespace orvo::test {
namespace {

const KnownSetting kKnown[] = {
    {SettingKind::Switch, "On", "On", "A"},
    {SettingKind::Integer, "Count", "Count", "A"},
    {SettingKind::Real, "Size", "Length", "B"},
    {SettingKind::Switch, nullptr, "OnlyXml", "B"},
};
const std::string kXml =
    "<A>\n<On>true</On>\n<Count>3</Count>\n</A>\n<B>\n<Length>1e-5</Length>\n<OnlyXml>false</OnlyXml>\n</"
    "B>\n";

std::string Check(const std::string& name, const std::string& content) {
  ScratchFolder folder;
  WriteFile(folder / name, content);
  return Brief(CheckSettings(folder / name, kKnown));
}

std::string With(const std::string& from, const std::string& to) {
  std::string text = kXml;
  return text.replace(text.find(from), from.size(), to);
}

TEST(SettingsCheck, XmlOfTooManyMarks) {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += "<C/>";
  EXPECT_EQ(Check("a.xml", kXml + text), ": error: it has more than 100000 XML marks.");
}

TEST(SettingsCheck, Xml) {
  const struct {
    std::string content;
    const char* findings;
  } rows[] = {
      {kXml, ""},
      {"<?xml version=\"1.0\"?>\n<!-- all -->\n" + kXml, ""},
      {With("3", " 3 "), ""},
      {With("true", "True"), ":2: error: 'True' is neither true nor false: On."},
      {With("true", " true"), ":2: error: 'true', with blanks around it, is neither true nor false: On."},
      {With("true", "1"), ":2: error: '1' is neither true nor false: On."},
      {With("true", ""), ":2: error: an empty value is neither true nor false: On."},
      {With("3", "3.5"), ":3: error: '3.5' is no whole number: Count."},
      {With("3", "three"), ":3: error: 'three' is no whole number: Count."},
      {With("1e-5", "1,5"), ":6: error: '1,5' is no number: Length."},
      {With("1e-5", "nan"), ":6: error: 'nan' is no number: Length."},
      {With("1e-5", "1 m"), ":6: error: '1 m' is no number: Length."},
      {With("<Count>3</Count>\n", ""), ": note: 1 setting: Count: not there, and taken for false or 0."},
      {With("</On>\n", "</On>\n<On>false</On>\n"), ":3: note: On stands there a second time."},
      {With("</On>\n", "</On>\n<Oh>false</Oh>\n"), ": note: 1 element: Oh: not known, and passed over."},
      {"", ": error: the file holds no element."},
      {"On:1\n", ": error: the file holds no element."},
      {"<Other/>\n", ": error: the file holds no setting."},
      {"<Root>\n" + kXml + "</Root>\n", ": error: the file holds no setting."},
  };
  for (const auto& row : rows) EXPECT_EQ(Check("s.xml", row.content), row.findings) << row.content;
}

TEST(SettingsCheck, XmlThatIsNotWellFormed) {
  for (const std::string& text :
       {kXml.substr(0, kXml.size() - 3), With("</A>\n", ""), With("<B>\n", ""), With("<On>", "<On")}) {
    const std::string brief = Check("s.XML", text);
    EXPECT_NE(brief.find("error: the file is no XML: "), std::string::npos) << text << brief;
    EXPECT_EQ(brief[0], ':') << brief;
    EXPECT_NE(brief[1], ' ') << "a line is named: " << brief;
  }
}

TEST(SettingsCheck, ColonForm) {
  const struct {
    const char* content;
    const char* findings;
  } rows[] = {
      {"On:1\nCount:3\nSize:1e-5\n", ""},
      {"On:1\nCount:3\nSize:1", ": note: the last line has no line end."},
      {"Some words first\n\nOn: 0 \r\n",
       ": note: 2 settings: Count and Size: not there, and as the defaults say."},
      {"On:1\nCount:1\nSize:2\nOther:2\n", ": note: 1 key: Other: not known, and passed over."},
      {"On:1\nOn:0\nCount:1\nSize:2\n", ":2: note: On stands in line 1 already."},
      {"On:true\n", ":1: error: 'true' is no switch, which is 0 or 1 in this form: On."},
      {"On:\n", ":1: error: an empty line is no switch, which is 0 or 1 in this form: On."},
      {"Count:5 iterations\n", ":1: error: '5 iterations' is no whole number: Count."},
      {"Count:5.5\n", ":1: error: '5.5' is no whole number: Count."},
      {"Size:0,5\n", ":1: error: '0,5' is no number: Size."},
      {"Size:0.5:\n", ":1: error: 'Size:0.5:' sets nothing."},
      {"Size :0.5\n", ":1: error: 'Size :0.5' sets nothing."},
      {" Size:0.5\n", ":1: error: 'Size:0.5' sets nothing."},
      {"", ": error: no line sets anything."},
      {"OnlyXml:1\n", ": error: no line sets anything."},
      {"<A><On>true</On></A>\n", ": error: no line sets anything."},
  };
  for (const auto& row : rows) EXPECT_EQ(Check("s.ini", row.content), row.findings) << row.content;
}

TEST(SettingsCheck, EverySettingOfTheTableIsKnown) {
  const std::vector<KnownSetting> known = KnownSettings();
  ASSERT_EQ(known.size(), 36u);
  int switches = 0, integers = 0;
  for (const KnownSetting& setting : known) {
    switches += setting.Kind == SettingKind::Switch ? 1 : 0;
    integers += setting.Kind == SettingKind::Integer ? 1 : 0;
  }
  EXPECT_EQ(switches, 13);
  EXPECT_EQ(integers, 9);
}

}  // namespace
}  // namespace orvo::test
