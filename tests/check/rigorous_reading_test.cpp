// The settings of the rigorous method in files of both forms.
#include "check/RigorousReading.h"

#include <gtest/gtest.h>

#include "check/FindingTable.h"
#include "check/SettingsCheck.h"
#include "run/InputCheck.h"
#include "settings/RigorousFile.h"
#include "settings/RigorousValues.h"

namespace orvo::test {
namespace {

RigorousReading Read(const std::string& name, const std::string& content) {
  ScratchFolder folder;
  WriteFile(folder / name, content);
  return ReadRigorousSettings(folder / name);
}

/// Codes before what is told.
std::string Coded(const RigorousReading& reading) {
  std::string text;
  for (const Finding& one : reading.Findings) text += (text.empty() ? "" : "\n") + one.szCode + Brief({one});
  return text;
}

std::string Section(const std::string& inside) { return "<Weight/>\n<Rigorous>" + inside + "</Rigorous>\n"; }

void ExpectDefaults(const RigorousSettings& settings, const std::string& where) {
  for (const RigorousSetting& one : RigorousTable())
    EXPECT_EQ(ValueText(one, settings), ValueText(one, RigorousSettings())) << where << one.szName;
}

/// A value that is not the default.
std::string OtherValue(const RigorousSetting& setting) {
  const std::string usual = ValueText(setting, RigorousSettings());
  switch (setting.Kind()) {
    case RigorousKind::Word:
      return usual == setting.Words.back() ? setting.Words.front() : setting.Words.back();
    case RigorousKind::Switch:
      return usual == "true" ? "false" : "true";
    case RigorousKind::CameraList:
      return "0=0.4 2=0.8";
    case RigorousKind::Integer:
      return "17";
    case RigorousKind::Real:
      break;
  }
  return "7.25";
}

TEST(RigorousReading, EveryFieldIsReadInBothForms) {
  for (const RigorousSetting& setting : RigorousTable()) {
    const std::string name = setting.szName, value = OtherValue(setting);
    const struct {
      const char* file;
      std::string content;
    } rows[] = {{"s.xml", Section("\n <" + name + ">" + value + "</" + name + ">\n")},
                {"s.XML", Section("<" + name + "> <!-- why -->\n" + value + "\t</" + name + ">")},
                {"s.ini", "Set_IOP_Unknown:1\n" + name + ":" + value + "\n"},
                {"s.txt", name + ": " + value + " \r\n"}};
    for (const auto& row : rows) {
      const RigorousReading reading = Read(row.file, row.content);
      EXPECT_EQ(Coded(reading), "") << row.content;
      EXPECT_EQ(ValueText(setting, reading.Settings), value) << row.content;
      EXPECT_EQ(reading.InFile, RigorousList{&setting});
      for (const RigorousSetting& other : RigorousTable()) {
        EXPECT_EQ(reading.OriginOf(other), &other == &setting ? SettingOrigin::File : SettingOrigin::Default);
        if (&other == &setting) continue;
        EXPECT_EQ(ValueText(other, reading.Settings), ValueText(other, RigorousSettings())) << row.content;
      }
    }
  }
}

TEST(RigorousReading, WhatIsWrittenIsReadBack) {
  ChosenRigorous chosen;
  for (const RigorousSetting& setting : RigorousTable())
    ASSERT_EQ(AssignValue(setting, OtherValue(setting), chosen.Settings), "");
  const RigorousReading reading = Read("s.xml", RigorousSectionText(chosen));
  EXPECT_EQ(Coded(reading), "");
  EXPECT_EQ(reading.InFile.size(), RigorousTable().size());
  for (const RigorousSetting& setting : RigorousTable())
    EXPECT_EQ(ValueText(setting, reading.Settings), OtherValue(setting)) << setting.szName;
}

TEST(RigorousReading, WhatIsMissingKeepsItsDefault) {
  for (const auto& [name, content] :
       {std::pair("s.xml", "<Weight/>\n"), std::pair("s.xml", "<Rigorous/>\n"),
        std::pair("s.xml", "<Rigorous>\n<!-- <Sigma_Image>3</Sigma_Image> -->\n</Rigorous>\n"),
        std::pair("s.ini", "Set_IOP_Unknown:1\nSome words\n"), std::pair("s.ini", "")}) {
    const RigorousReading reading = Read(name, content);
    EXPECT_EQ(Coded(reading), "") << content;
    EXPECT_TRUE(reading.InFile.empty()) << content;
    ExpectDefaults(reading.Settings, content);
  }
  ExpectDefaults(ReadRigorousSettings("").Settings, "no file");
  EXPECT_TRUE(ReadRigorousSettings("").Findings.empty());
}

TEST(RigorousReading, WrongValuesAreNotTaken) {
  const struct {
    const char *inside, *findings;
  } rows[] = {
      {"<Sigma_Image>-1</Sigma_Image>",
       "A018:2: error: '-1' for Sigma_Image is outside of what it can be: a number from 1e-9 to 1e9."},
      {"<Sigma_Image></Sigma_Image>", "A018:2: error: an empty value for Sigma_Image is no number."},
      {"<Sigma_Image value='3'/>", "A018:2: error: an empty value for Sigma_Image is no number."},
      {"\n\n<Sigma_Image>0,3</Sigma_Image>", "A018:4: error: '0,3' for Sigma_Image is no number."},
      {"<Sigma_Image>3<!-- or -->4 5</Sigma_Image>", "A018:2: error: '34 5' for Sigma_Image is no number."},
      {"<Sigma_Image><b>3</b></Sigma_Image>", "A018:2: error: an element in Sigma_Image is no value."},
      {"<Drift>Linear</Drift>",
       "A018:2: error: 'Linear' for Drift is none of its words: write none, constant or linear."},
      {"<Corrected_Image>True</Corrected_Image>",
       "A018:2: error: 'True' for Corrected_Image is neither true nor false."},
      {"<Corrected_Image>1</Corrected_Image>",
       "A018:2: error: '1' for Corrected_Image is neither true nor false."},
      {"<Corrected_Image/>", "A018:2: error: an empty value for Corrected_Image is neither true nor false."},
      {"<Max_Iterations>0</Max_Iterations>",
       "A018:2: error: '0' for Max_Iterations is outside of what it can be: a whole number from 1 to 10000."},
      {"<Prior_Focal>zero</Prior_Focal>",
       "A018:2: error: 'zero' for Prior_Focal is no number, and not none."},
      {"<Sigma_Imge>3</Sigma_Imge>", "A019:2: error: 'Sigma_Imge' is no setting of the rigorous method."},
      {"<GCP_Accuracy>3</GCP_Accuracy>",
       "A019:2: error: 'GCP_Accuracy' is no setting of the rigorous method."},
      {"Sigma_Image=3", "A019:2: error: 'Sigma_Image=3' stands in no element of Rigorous."},
  };
  for (const auto& row : rows) {
    const RigorousReading reading = Read("s.xml", Section(row.inside));
    EXPECT_EQ(Coded(reading), row.findings) << row.inside;
    EXPECT_TRUE(reading.InFile.empty()) << row.inside;
    ExpectDefaults(reading.Settings, row.inside);
  }
}

TEST(RigorousReading, PartsThatAreNotInTheirPlace) {
  const std::string section = "<Rigorous><Sigma_Image>3</Sigma_Image></Rigorous>\n";
  const struct {
    std::string content;
    const char *findings, *sigma;
  } rows[] = {
      {"<Rigourous><Sigma_Image>3</Sigma_Image></Rigourous>\n",
       "A019:1: error: 'Rigourous' is no part of the settings.\n"
       "A019:1: error: 'Sigma_Image' stands in 'Rigourous'.",
       "0.5"},
      {"<Weight>\n<Sigma_Image>3</Sigma_Image></Weight>\n",
       "A019:2: error: 'Sigma_Image' stands in 'Weight'.", "0.5"},
      {"<Settings>" + section + "</Settings>\n",
       "A003:1: error: Rigorous stands in the element 'Settings', and is not found there.", "0.5"},
      {section + "<Rigorous><Sigma_Image>4</Sigma_Image></Rigorous>\n",
       "A005:2: note: Rigorous stands there a second time.", "3"},
      {Section("<Sigma_Image>3</Sigma_Image>\n<Sigma_Image>4</Sigma_Image>"),
       "A005:3: note: Sigma_Image stands there a second time.", "3"},
      {"", "A002: error: the file holds no element.", "0.5"},
      {"Sigma_Image:3\n", "A002: error: the file holds no element.", "0.5"},
      {section.substr(0, section.size() - 3), "A002:1: error: the file is no XML: start-end tags mismatch.",
       "0.5"},
  };
  for (const auto& row : rows) {
    const RigorousReading reading = Read("s.xml", row.content);
    EXPECT_EQ(Coded(reading), row.findings) << row.content;
    EXPECT_EQ(ValueText(*FindRigorousSetting("Sigma_Image"), reading.Settings), row.sigma) << row.content;
  }
}

TEST(RigorousReading, ColonForm) {
  const struct {
    const char *content, *findings, *sigma;
  } rows[] = {
      {"Sigma_Image:x\n", "A018:1: error: 'x' for Sigma_Image is no number.", "0.5"},
      {"\nSigma_Image:\n", "A018:2: error: an empty value for Sigma_Image is no number.", "0.5"},
      {"Sigma_Image:1\nSigma_Image:2\n", "A005:2: note: Sigma_Image stands in line 1 already.", "2"},
      {"Sigma_Image :1\n", "A019:1: error: 'Sigma_Image :1' sets nothing.", "0.5"},
      {"Sigma_Image:1:\n", "A019:1: error: 'Sigma_Image:1:' sets nothing.", "0.5"},
      {"Sigma_Imge:1\n", "A019:1: error: 'Sigma_Imge' is no setting of the rigorous method.", "0.5"},
      {"Other words:1\nGCP_Wieght:3\n", "", "0.5"},
      {"Corrected_Image:2\n", "A018:1: error: '2' for Corrected_Image is no switch: write true or false.",
       "0.5"},
  };
  for (const auto& row : rows) {
    const RigorousReading reading = Read("s.ini", row.content);
    EXPECT_EQ(Coded(reading), row.findings) << row.content;
    EXPECT_EQ(ValueText(*FindRigorousSetting("Sigma_Image"), reading.Settings), row.sigma) << row.content;
  }
  EXPECT_EQ(Coded(Read("s.ini", std::string(600, 'x') + "\n")),
            "S004:1: error: the line is longer than 510 characters.");
}

TEST(RigorousReading, FilesThatCantBeRead) {
  for (const char* name : {"/nowhere/s.xml", "/nowhere/s.ini"}) {
    const RigorousReading reading = ReadRigorousSettings(name);
    ASSERT_EQ(reading.Findings.size(), 1u) << name;
    EXPECT_EQ(reading.Findings[0].szCode, name[11] == 'x' ? "A001" : "S001");
    EXPECT_TRUE(HasError(reading.Findings));
    ExpectDefaults(reading.Settings, name);
  }
}

TEST(RigorousReading, SoManyFindingsAndNoMore) {
  std::string inside;
  for (int i = 0; i < 5000; ++i) inside += "<Zzzzzzz/>\n";
  EXPECT_EQ(Read("s.xml", Section(inside)).Findings.size(), 50u);
}

TEST(RigorousReading, TheCommandLineCountsMost) {
  ScratchFolder folder;
  WriteFile(folder / "s.xml", Section("<Sigma_Image>3</Sigma_Image><Drift>linear</Drift>"));
  const std::string texts[] = {"Drift=constant", "Robust=huber"};
  const RigorousReading reading = ReadRigorousSettings(folder / "s.xml", RigorousOverridesOf(texts));
  EXPECT_TRUE(reading.Findings.empty());
  EXPECT_EQ(reading.Settings.Sigma_Image, 3);
  EXPECT_EQ(reading.Settings.Drift, DriftForm::Constant);
  EXPECT_EQ(reading.Settings.Robust, RobustForm::Huber);
  const auto origin = [&](const char* name) { return reading.OriginOf(*FindRigorousSetting(name)); };
  EXPECT_EQ(origin("Sigma_Image"), SettingOrigin::File);
  EXPECT_EQ(origin("Drift"), SettingOrigin::CommandLine);
  EXPECT_EQ(origin("Robust"), SettingOrigin::CommandLine);
  EXPECT_EQ(origin("Datum"), SettingOrigin::Default);
}

TEST(RigorousReading, OtherMethodsPassOverThem) {
  ScratchFolder folder;
  const std::string file = ReadFile(Example("seneca/AdjPara.xml"));
  ASSERT_FALSE(file.empty());
  WriteFile(folder / "plain.xml", file);
  WriteFile(folder / "with.xml", file + Section("<Sigma_Image>x</Sigma_Image><Odd/>").substr(10));
  const std::string plain = Brief(CheckSettings(folder / "plain.xml", KnownSettings()));
  EXPECT_EQ(Brief(CheckSettings(folder / "with.xml", KnownSettings())), plain);
  WriteFile(folder / "plain.ini", "Set_IOP_Unknown:1\n");
  WriteFile(folder / "with.ini", "Set_IOP_Unknown:1\nSigma_Image:x\nSigma_Imge:3\n");
  EXPECT_EQ(Brief(CheckSettings(folder / "with.ini", KnownSettings())),
            Brief(CheckSettings(folder / "plain.ini", KnownSettings())));
  WriteFile(folder / "alone.ini", "Sigma_Image:0.3\n");
  EXPECT_FALSE(HasError(CheckSettings(folder / "alone.ini", KnownSettings())));
}

}  // namespace
}  // namespace orvo::test
