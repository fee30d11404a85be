// orvo settings, and --set of the commands that run.
#include <gtest/gtest.h>

#include "app/CommandCall.h"
#include "settings/SettingsTable.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(SettingsCommand, ExitCodes) {
  ScratchFolder folder;
  WriteFile(folder / "there.xml", "old");
  WriteFile(folder / "broken.prj", "1 2\n");
  const struct {
    std::vector<std::string> arguments;
    int nExit;
  } rows[] = {
      {{}, 0},
      {{"--list"}, 0},
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

}  // namespace
}  // namespace orvo::test
