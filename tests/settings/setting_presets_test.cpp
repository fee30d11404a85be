// Presets, their fitting to a block, and the file that is written of them.
#include "settings/SettingPresets.h"

#include <gtest/gtest.h>

#include "settings/SettingNames.h"
#include "settings/SettingTexts.h"
#include "settings/SettingValues.h"
#include "settings/SettingWeights.h"
#include "settings/SettingsFile.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

AdjustmentSettings Of(const char* preset, const std::optional<BlockFacts>& facts = {},
                      const StatedSigmas& sigmas = {}) {
  return SettingsFor(*FindPreset(preset), facts, sigmas).Settings;
}

BlockFacts Facts(int32_t images, int32_t cameras, int32_t control) {
  BlockFacts facts;
  facts.nImages = images;
  facts.nCameras = cameras;
  facts.nControl = control;
  facts.fObjectScale = 2;
  return facts;
}

TEST(SettingPresets, EveryValueHolds) {
  EXPECT_EQ(FindPreset("nothing"), nullptr);
  for (const SettingPreset& preset : SettingPresets()) {
    for (const PresetValue& value : preset.Values) {
      AdjustmentSettings settings;
      const NamedSetting named = FindSetting(value.szName);
      ASSERT_NE(named.pSetting, nullptr) << value.szName;
      EXPECT_EQ(AssignValue(*named.pSetting, value.szValue, false, settings), "") << value.szName;
    }
    const ChosenSettings chosen = SettingsFor(preset, std::nullopt, {});
    for (const Setting& setting : SettingsTable()) {
      const SettingText& text = DescriptionOf(setting);
      if (setting.Kind() == SettingKind::Switch) continue;
      const double value = std::stod(ValueText(setting, chosen.Settings));
      EXPECT_TRUE(value >= text.fLow && value <= text.fHigh) << preset.szName << " " << setting.szName;
    }
    EXPECT_GT(chosen.Settings.Max_LM_Iteration_Num, chosen.Settings.Free_LM_Iteration_Num) << preset.szName;
  }
}

TEST(SettingPresets, WhatTheyAreFor) {
  EXPECT_FALSE(Of("drone").Apply_GPS_Data);
  EXPECT_TRUE(Of("drone").Set_IOP_Unknown);
  EXPECT_TRUE(Of("drone-rtk").Apply_GPS_Data);
  EXPECT_TRUE(Of("crewed").Correct_LinearError);
  EXPECT_FALSE(Of("crewed").Set_IOP_Unknown);
  EXPECT_TRUE(Of("large").Apply_PCG_Model);
  EXPECT_FALSE(Of("calibrated").Set_IOP_Unknown);
  EXPECT_EQ(Of("oblique").Free_LM_Iteration_Num, 12);
  for (const SettingPreset& preset : SettingPresets()) EXPECT_FALSE(Of(preset.szName).Resampling_Points);
}

TEST(SettingPresets, TheDocumentationTellsThem) {
  const std::string page = ReadFile(SourceFolder() + "/docs/settings.md");
  for (const SettingPreset& preset : SettingPresets()) {
    const size_t at = page.find(std::string("\n| `") + preset.szName + "` | " + preset.szFor + " |");
    ASSERT_NE(at, std::string::npos) << preset.szName;
    const std::string row = page.substr(at, page.find('\n', at + 1) - at);
    for (const PresetValue& value : preset.Values) {
      const std::string text = std::string("`") + value.szName + "` " + value.szValue;
      EXPECT_NE(row.find(text), std::string::npos) << preset.szName << ": " << text;
    }
  }
}

TEST(SettingPresets, AreFittedToTheBlock) {
  const struct {
    const char* preset;
    int32_t images, cameras, control;
    bool sparse;
    double damping;
    int32_t free;
  } rows[] = {
      {"drone", 100, 1, 0, false, 1e-4, 8},       {"drone", 100, 1, 3, false, 1e-6, 8},
      {"drone", 100, 1, 4, false, 1e-8, 8},       {"drone", 999, 1, 0, false, 1e-4, 8},
      {"drone", 1001, 1, 0, true, 1e-4, 12},      {"large", 10, 1, 0, true, 1e-4, 12},
      {"drone", 40, 40, 0, false, 1e-10, 18},     {"drone", 40, 40, 6, false, 1e-14, 18},
      {"drone", 1000, 1000, 6, true, 1e-4, 18},   {"calibrated", 40, 40, 0, false, 1e-4, 8},
      {"calibrated", 1000, 1, 0, false, 1e-4, 8},
  };
  for (const auto& row : rows) {
    const AdjustmentSettings settings = Of(row.preset, Facts(row.images, row.cameras, row.control));
    const std::string name = std::string(row.preset) + " " + std::to_string(row.images);
    EXPECT_EQ(settings.Apply_PCG_Model, row.sparse) << name;
    EXPECT_EQ(settings.Damping_Coefficient, row.damping) << name;
    EXPECT_EQ(settings.Free_LM_Iteration_Num, row.free) << name;
    EXPECT_EQ(settings.GCP_LM_Iteration_Num, row.free) << name;
    EXPECT_GT(settings.Max_LM_Iteration_Num, row.free) << name;
  }
}

TEST(SettingPresets, StatedSigmasMakeTheWeights) {
  StatedSigmas sigmas{0.4, 0.03, 0.06, {}};
  const WeightUnits units{0.4, 0.001, 2};
  for (const char* preset : {"drone", "drone-rtk"}) {
    const AdjustmentSettings settings = Of(preset, Facts(100, 1, 0), sigmas);
    EXPECT_TRUE(settings.Apply_GPS_Data) << "a stated accuracy is one to use";
    EXPECT_NEAR(GpsSigmaOf(settings.GPS_WeightXY, units), 0.03, 1e-9 * 0.03);
    EXPECT_NEAR(GpsSigmaOf(settings.GPS_WeightZ, units), 0.06, 1e-9 * 0.06);
  }
  BlockFacts facts = Facts(100, 1, 6);
  sigmas.Gcp = 0.02;
  EXPECT_EQ(SettingsFor(*FindPreset("drone"), facts, sigmas).Notes.size(), 1u) << "no size of a pixel";
  facts.fGroundPixel = 0.05;
  facts.fControlRays = 5;
  const AdjustmentSettings settings = Of("drone", facts, sigmas);
  EXPECT_NEAR(ControlSigmaOf(settings.GCP_Weight, {0.4, 0.05, 5}), 0.02, 1e-9 * 0.02);
}

TEST(SettingPresets, WhatIsNotKnownIsTold) {
  const SettingPreset& rtk = *FindPreset("drone-rtk");
  EXPECT_EQ(SettingsFor(*FindPreset("drone"), std::nullopt, {}).Notes.size(), 0u);
  const auto notes = SettingsFor(rtk, std::nullopt, {}).Notes;
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_NE(notes[0].find("size of the block"), std::string::npos) << notes[0];
  BlockFacts facts = Facts(10, 1, 0);
  facts.nStrips = 1;
  EXPECT_NE(SettingsFor(rtk, facts, {}).Notes.at(0).find("fewer than two strips"), std::string::npos);
}

TEST(SettingsFile, CommentsAreSafe) {
  const struct {
    const char *text, *safe;
  } rows[] = {{"a-b", "a-b"}, {"a--b", "a- -b"}, {"---", "- - - "}, {"-->", "- ->"}, {"", ""}};
  for (const auto& row : rows) EXPECT_EQ(CommentText(row.text), row.safe);
  const std::string text =
      SettingsFileText(SettingsFor(*FindPreset("drone"), std::nullopt, {}), {"of --x-- <a> & b -->"});
  size_t comments = 0;
  for (size_t at = text.find("<!--"); at != std::string::npos; at = text.find("<!--", at + 1)) {
    ++comments;
    const size_t end = text.find("--", at + 4);
    ASSERT_NE(end, std::string::npos);
    EXPECT_EQ(text.substr(end, 3), "-->") << text.substr(at, end - at);
  }
  size_t elements = 0;
  for (const Setting& setting : SettingsTable()) elements += setting.szXmlElement != nullptr ? 1 : 0;
  EXPECT_EQ(comments, elements + 2) << "one for each element, and two at the head";
}

}  // namespace
}  // namespace orvo::test
