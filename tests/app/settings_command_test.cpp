// orvo settings, and --set of the commands that run.
#include <gtest/gtest.h>

#include <sstream>

#include "app/CommandCall.h"
#include "check/RigorousReading.h"
#include "settings/RigorousValues.h"
#include "settings/SettingsTable.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// Without the line ends in filled comments.
std::string OneLine(const std::string& text) {
  std::istringstream words(text);
  std::string line;
  for (std::string word; words >> word;) line += word + " ";
  return line;
}

TEST(SettingsCommand, ExitCodes) {
  ScratchFolder folder;
  WriteFile(folder / "there.xml", "old");
  WriteFile(folder / "broken.prj", "1 2\n");
  WriteFile(folder / "wrong.xml",
            ReadFile(Example("seneca/AdjPara.xml")) + "<Rigorous><Drift>x</Drift></Rigorous>");
  const struct {
    std::vector<std::string> arguments;
    int nExit;
  } rows[] = {
      {{}, 0},
      {{"--list"}, 0},
      {{"--method", "rigorous"}, 0},
      {{"--method", "rigid"}, 2},
      {{"--explain", "Sigma_Image"}, 0},
      {{"--from", folder / "there.xml"}, 2},
      {{"--method", "rigorous", "--from", folder / "there.xml"}, 1},
      {{"--method", "rigorous", "--from", folder / "missing.xml"}, 1},
      {{"--method", "rigorous", "--from", folder / "wrong.xml"}, 1},
      {{"--method", "rigorous", "--from", folder / "there.xml", "--preset", "drone"}, 2},
      {{"--preset", "crewed"}, 0},
      {{"--preset", "spacecraft"}, 2},
      {{"--explain", "GCP_Accuracy"}, 0},
      {{"--explain", "GCP_Acuracy"}, 2},
      {{"--explain"}, 2},
      {{"--explain", "GCP_Weight", "--list"}, 2},
      {{"--pixel-sigma", "0"}, 2},
      {{"--pixel-sigma", "x"}, 2},
      {{"--pixel-sigma", "nan"}, 2},
      {{"--gps-sigma", "0.02,0.03"}, 0},
      {{"--gps-sigma", "0.02"}, 0},
      {{"--gps-sigma", "0.02,0.03,0.04"}, 2},
      {{"--gps-sigma", "0.02,"}, 2},
      {{"--gps-sigma", "-1"}, 2},
      {{"--gcp-sigma", "0.02"}, 0},
      {{"--gcp", folder / "there.xml"}, 2},
      {{"--force"}, 2},
      {{"--out", folder / "a.ini"}, 2},
      {{"--out", folder / "new/a.xml"}, 0},
      {{"--out", folder / "there.xml"}, 1},
      {{"--out", folder / "there.xml/a.xml"}, 1},
      {{"--for", folder / "missing.prj"}, 1},
      {{"--for", folder / "broken.prj"}, 1},
  };
  for (auto row : rows) {
    row.arguments.insert(row.arguments.begin(), "settings");
    const Called called = CallOrvo(row.arguments);
    EXPECT_EQ(called.nExit, row.nExit) << row.arguments.back() << called.szErr;
    EXPECT_TRUE(row.nExit == 0 || !called.szErr.empty()) << row.arguments.back();
  }
  EXPECT_EQ(ReadFile(folder / "there.xml"), "old");
  EXPECT_TRUE(Exists(folder / "new/a.xml"));
}

TEST(SettingsCommand, ASigmaIsToldItsRange) {
  for (const char* text : {"1e300", "0", "1e-10", "-1", "x"}) {
    for (const char* option : {"--pixel-sigma", "--gps-sigma", "--gcp-sigma"}) {
      const Called called = CallOrvo({"settings", option, text});
      EXPECT_EQ(called.nExit, 2) << option << text;
      EXPECT_TRUE(Has(called.szErr, "is no standard deviation: write a number from 1e-9 to 1e9"))
          << called.szErr;
    }
  }
}

TEST(SettingsCommand, AFileIsWrittenOverOnlyByForce) {
  const Block block;
  const std::string out = block / "mine.xml";
  ASSERT_EQ(CallOrvo({"settings", "--out", out}).nExit, 0);
  const std::string first = ReadFile(out);
  EXPECT_EQ(CallOrvo({"settings"}).szOut, first);
  EXPECT_TRUE(Has(CallOrvo({"settings", "--preset", "large", "--out", out}).szErr, "--force"));
  EXPECT_EQ(ReadFile(out), first);
  EXPECT_EQ(CallOrvo({"settings", "--preset", "large", "--out", out, "--force"}).nExit, 0);
  EXPECT_NE(ReadFile(out), first);
  // An input stays, whatever is said.
  const std::string project = block / "input.xml";
  std::filesystem::copy_file(block.Paths().szText, project);
  const std::string before = ReadFile(project);
  EXPECT_EQ(CallOrvo({"settings", "--for", project, "--out", project, "--force"}).nExit, 1);
  EXPECT_EQ(ReadFile(project), before);
}

TEST(SettingsCommand, WhatCantBeComputedIsTold) {
  const Block block;
  const Called without = CallOrvo({"settings", "--preset", "drone-rtk"});
  EXPECT_TRUE(Has(without.szErr, "size of the block")) << without.szErr;
  EXPECT_TRUE(Has(without.szOut, "<!-- GPS weights follow from the size of the block")) << without.szOut;
  const Called with = CallOrvo({"settings", "--preset", "drone-rtk", "--for", block.Paths().szText, "--gcp",
                                block.Paths().szGcp, "--pos", block.Paths().szPos, "--gcp-sigma", "0.02"});
  EXPECT_EQ(with.nExit, 0);
  EXPECT_EQ(with.szErr, "");
  EXPECT_TRUE(Has(with.szOut, "normalised units in one of the project"));
}

TEST(SettingsCommand, EverySettingIsListedAndExplained) {
  const std::string list = CallOrvo({"settings", "--list"}).szOut;
  for (const Setting& setting : SettingsTable()) {
    for (const char* name : {setting.szName, setting.szColonKey, setting.szXmlElement}) {
      if (name == nullptr) continue;
      EXPECT_TRUE(Has(list, name)) << name;
      const std::string told = CallOrvo({"settings", "--explain", name}).szOut;
      EXPECT_TRUE(told.starts_with(std::string(setting.szName) + ": ")) << told;
    }
  }
  const Called wrong = CallOrvo({"settings", "--explain", "Aply_GPS_Data"});
  EXPECT_EQ(wrong.szErr,
            "orvo settings: there is no setting 'Aply_GPS_Data': did you mean Apply_GPS_Data?\n");
}

TEST(SettingsCommand, SetReachesRunAndCheck) {
  const Block block;
  std::vector<SettingOverride> ofRun, ofCheck, ofDiagnosis;
  FrontEnd frontEnd;
  const auto copy = [](Overrides from) { return std::vector<SettingOverride>(from.begin(), from.end()); };
  frontEnd.Check = [&](const RunPaths&, bool, Overrides overrides) {
    ofCheck = copy(overrides);
    return std::vector<Finding>();
  };
  frontEnd.Diagnose = [&](const RunPaths&, DiagnosisScope, const Platform&, Diagnosis&, Overrides overrides) {
    ofDiagnosis = copy(overrides);
  };
  frontEnd.Adjust = [&](RunPaths, const Platform&, std::FILE*, const RunOptions& options) {
    ofRun = options.Overrides;
    return RunOutcome{true, 0, ""};
  };
  const std::string project = block.Paths().szText;
  EXPECT_EQ(CallOrvo({"adjust", project, "--set", "GCP_Accuracy=4", "--set", "nThreadNum=2"}, frontEnd).nExit,
            0);
  for (const auto* list : {&ofRun, &ofCheck, &ofDiagnosis}) {
    ASSERT_EQ(list->size(), 2u);
    EXPECT_STREQ((*list)[0].pSetting->szName, "GCP_Weight");
    EXPECT_TRUE((*list)[0].bXmlName);
    EXPECT_EQ((*list)[1].szValue, "2");
  }
  // A setting that is named twice, and what is odd, which stops nothing.
  const Called odd = CallOrvo(
      {"adjust", project, "--set", "GCP_Accuracy=2", "--set", "GCP_Weight=1e9", "--set", "Block_Num=4"},
      frontEnd);
  EXPECT_EQ(odd.nExit, 0);
  ASSERT_EQ(ofRun.size(), 2u);
  EXPECT_EQ(ofRun[0].szValue, "1e9");
  EXPECT_EQ(odd.szErr,
            "orvo adjust: warning: GCP_Weight=1e9 is outside of what blocks want, 1e-6 to 1000.\n"
            "orvo adjust: note: Block_Num has no effect: not consulted.\n");
  EXPECT_EQ(CallOrvo({"check", project, "--set", "Block_Num=4"}, frontEnd).szErr,
            "orvo check: note: Block_Num has no effect: not consulted.\n");
  ofDiagnosis.clear();
  EXPECT_EQ(CallOrvo({"check", project, "--set", "GCP_Weight=4"}, frontEnd).nExit, 0);
  EXPECT_EQ(ofDiagnosis.size(), 1u);
  for (const char* command : {"adjust", "check"}) {
    const Called wrong = CallOrvo({command, project, "--set", "GCP_Wieght=4"}, frontEnd);
    EXPECT_EQ(wrong.nExit, 2);
    EXPECT_TRUE(Has(wrong.szErr, "did you mean GCP_Weight?")) << wrong.szErr;
    EXPECT_EQ(CallOrvo({command, project, "--set", "GCP_Weight=heavy"}, frontEnd).nExit, 2);
    EXPECT_EQ(CallOrvo({command, project, "--set"}, frontEnd).nExit, 2);
    const Called negative = CallOrvo({command, project, "--set", "GCP_Weight=-100"}, frontEnd);
    EXPECT_EQ(negative.nExit, 2);
    EXPECT_TRUE(Has(negative.szErr, "0 or more; blocks want 1e-6 to 1000")) << negative.szErr;
  }
}

TEST(SettingsCommand, TheRigorousMethodHasASectionBehindTheOthers) {
  const Block block;
  const std::string project = block.Paths().szText;
  for (const char* preset : {"drone", "drone-rtk", "crewed"}) {
    const std::string plain = CallOrvo({"settings", "--preset", preset}).szOut;
    EXPECT_FALSE(Has(plain, "Rigorous"));
    const std::string with = CallOrvo({"settings", "--preset", preset, "--method", "rigorous"}).szOut;
    EXPECT_TRUE(with.starts_with(plain)) << preset;
    EXPECT_TRUE(Has(with.substr(plain.size()), "\n<Rigorous>\n")) << preset;
  }
  const std::string file = block / "rigorous.xml", next = block / "next.xml";
  const Called written = CallOrvo({"settings", "--method", "rigorous", "--for", project, "--gcp",
                                   block.Paths().szGcp, "--pos", block.Paths().szPos, "--pixel-sigma", "0.4",
                                   "--gps-sigma", "0.03,0.06", "--gcp-sigma", "0.02", "--out", file});
  EXPECT_EQ(written.nExit, 0) << written.szErr;
  const RigorousReading read = ReadRigorousSettings(file);
  EXPECT_TRUE(read.Findings.empty());
  EXPECT_EQ(read.InFile.size(), RigorousTable().size());
  EXPECT_EQ(read.Settings.Sigma_Image, 0.4);
  EXPECT_EQ(read.Settings.Sigma_GPS_XY, 0.03);
  EXPECT_EQ(read.Settings.Sigma_GPS_Z, 0.06);
  EXPECT_EQ(read.Settings.Sigma_GCP_XY, 0.02);
  // The weights were made of the same.
  const std::string text = ReadFile(file);
  for (const char* told : {"GPS_WeightXY of this file counts them as good to 0.03",
                           "GPS_WeightZ of this file counts them as good to 0.06",
                           "GCP_Weight of this file counts them as good to 0.02"}) {
    EXPECT_TRUE(Has(OneLine(text), told)) << told;
  }
  const Called again = CallOrvo({"settings", "--method", "rigorous", "--from", file, "--out", next});
  EXPECT_EQ(again.nExit, 0) << again.szErr;
  const RigorousReading copy = ReadRigorousSettings(next);
  for (const RigorousSetting& setting : RigorousTable())
    EXPECT_EQ(ValueText(setting, copy.Settings), ValueText(setting, read.Settings)) << setting.szName;
  EXPECT_EQ(CallOrvo({"settings", "--method", "rigorous", "--from", file, "--out", file, "--force"}).nExit, 1)
      << "an input stays";
  EXPECT_EQ(ReadFile(file), text);
}

TEST(SettingsCommand, SettingsOfTheRigorousMethodAreKnownEverywhere) {
  const Block block;
  const std::string project = block.Paths().szText, list = CallOrvo({"settings", "--list"}).szOut;
  for (const RigorousSetting& setting : RigorousTable()) {
    EXPECT_TRUE(Has(list, std::string("\n") + setting.szName + " (rigorous) ")) << setting.szName;
    const std::string told = CallOrvo({"settings", "--explain", setting.szName}).szOut;
    EXPECT_TRUE(told.starts_with(std::string(setting.szName) + ": ")) << told;
  }
  EXPECT_EQ(CallOrvo({"check", project, "--set", "Sigma_Image=0.4"}).szErr,
            "orvo check: note: Sigma_Image has no effect: it is a setting of --method rigorous.\n");
  for (const char* command : {"adjust", "check"}) {
    const Called wrong = CallOrvo({command, project, "--set", "Sigma_Image=-0.4"});
    EXPECT_EQ(wrong.nExit, 2);
    EXPECT_TRUE(Has(wrong.szErr, "'-0.4' for Sigma_Image is outside of what it can be")) << wrong.szErr;
    EXPECT_TRUE(
        Has(CallOrvo({command, project, "--set", "Sigma_Imge=1"}).szErr, "did you mean Sigma_Image?"));
  }
}

TEST(SettingsCommand, CheckLooksAtTheSectionOfTheRigorousMethod) {
  const Block block;
  const std::string project = block.Paths().szText, plain = ReadFile(block.Paths().szXml);
  const auto check = [&](const std::string& content) {
    WriteFile(block / "s.xml", content);
    return CallOrvo({"check", project, "--settings", block / "s.xml"});
  };
  const Called without = check(plain);
  EXPECT_EQ(check(plain + "<Rigorous><Drift>linear</Drift></Rigorous>\n").szOut, without.szOut);
  const Called wrong = check(plain + "<Rigorous><Drift>x</Drift><Sigma_Imge>1</Sigma_Imge></Rigorous>\n");
  EXPECT_EQ(wrong.nExit, 1);
  EXPECT_TRUE(Has(wrong.szOut, "'x' for Drift is none of its words")) << wrong.szOut;
  EXPECT_TRUE(Has(wrong.szOut, "[A018]")) << wrong.szOut;
  EXPECT_TRUE(Has(wrong.szOut, "Write Sigma_Image if that is meant [A019]")) << wrong.szOut;
}

}  // namespace
}  // namespace orvo::test
