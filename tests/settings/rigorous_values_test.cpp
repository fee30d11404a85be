// Values of the settings of the rigorous method: what is taken, what is refused, and KEY=VALUE.
#include "settings/RigorousValues.h"

#include <gtest/gtest.h>

#include "settings/RigorousOverrides.h"
#include "settings/SettingOverrides.h"
#include "settings/SettingRanges.h"

namespace orvo::test {
namespace {

/// Values that are not the default, by kind.
std::vector<std::string> ValuesOf(const RigorousSetting& setting) {
  switch (setting.Kind()) {
    case RigorousKind::Word:
      return {setting.Words.begin(), setting.Words.end()};
    case RigorousKind::Switch:
      return {"true", "false"};
    case RigorousKind::CameraList:
      return {"0=0.4", "0=0.4 3=1e-09"};
    case RigorousKind::Integer:
      return {"1", "37"};
    case RigorousKind::Real:
      break;
  }
  std::vector<std::string> values{"0.1", "0.30000000000000004", "12.5"};
  if (setting.Limits.bNone) values.emplace_back("none");
  if (setting.Limits.bZero) values.emplace_back("0");
  return values;
}

TEST(RigorousValues, EveryFieldIsSetByItsKeyAndNoOtherIs) {
  for (const RigorousSetting& setting : RigorousTable()) {
    for (const std::string& value : ValuesOf(setting)) {
      RigorousOverride one;
      const std::string text = std::string(setting.szName) + "=" + value;
      ASSERT_TRUE(NamesRigorousSetting(text)) << text;
      ASSERT_EQ(ParseOverride(text, one), "") << text;
      EXPECT_EQ(one.pSetting, &setting);
      RigorousSettings settings;
      ApplyOverrides({&one, 1}, settings);
      EXPECT_EQ(ValueText(setting, settings), value) << setting.szName;
      for (const RigorousSetting& other : RigorousTable()) {
        if (&other == &setting) continue;
        EXPECT_EQ(ValueText(other, settings), ValueText(other, RigorousSettings()))
            << setting.szName << " " << other.szName;
      }
    }
  }
}

TEST(RigorousValues, WordsAreValuesOfTheirEnumeration) {
  const std::string texts[] = {"Distortion=brown_affinity",
                               "Lever_Arm=estimate",
                               "Boresight=given",
                               "Drift=linear",
                               "Robust=welsch",
                               "Datum=inner",
                               "Precision=all",
                               "Prior_Focal=3",
                               "Prior_Boresight=none"};
  RigorousSettings settings;
  settings.Prior_Boresight = 1;
  const auto overrides = RigorousOverridesOf(texts);
  ASSERT_EQ(overrides.size(), std::size(texts));
  ApplyOverrides(overrides, settings);
  EXPECT_EQ(settings.Distortion, DistortionTerms::BrownAffinity);
  EXPECT_EQ(settings.Lever_Arm, MountingForm::Estimate);
  EXPECT_EQ(settings.Boresight, MountingForm::Given);
  EXPECT_EQ(settings.Drift, DriftForm::Linear);
  EXPECT_EQ(settings.Robust, RobustForm::Welsch);
  EXPECT_EQ(settings.Datum, DatumChoice::Inner);
  EXPECT_EQ(settings.Precision, PrecisionExtent::All);
  EXPECT_EQ(settings.Prior_Focal, 3);
  EXPECT_EQ(settings.Prior_Boresight, RigorousSettings::kNone);
}

TEST(RigorousValues, SwitchesAreWrittenInThreeWays) {
  for (const char* on : {"true", "on", "1"}) {
    RigorousSettings settings;
    EXPECT_EQ(AssignValue(*FindRigorousSetting("Corrected_Image"), on, settings), "");
    EXPECT_TRUE(settings.Corrected_Image) << on;
    const RigorousSetting& other = *FindRigorousSetting("Estimate_Variances");
    settings.Estimate_Variances = true;
    for (const char* off : {"false", "off", "0"}) {
      EXPECT_EQ(AssignValue(other, off, settings), "");
      EXPECT_FALSE(settings.Estimate_Variances) << off;
    }
  }
}

TEST(RigorousValues, WrongOnesSayWhyAndChangeNothing) {
  const struct {
    const char *name, *value, *fault;
  } rows[] = {
      {"Sigma_Image", "", "no number"},
      {"Sigma_Image", "x", "no number"},
      {"Sigma_Image", "0,3", "no number"},
      {"Sigma_Image", "0.3 px", "no number"},
      {"Sigma_Image", " 0.3", "no number"},
      {"Sigma_Image", "0x1p-3", "no number"},
      {"Sigma_Image", "nan", "no number"},
      {"Sigma_Image", "inf", "no number"},
      {"Sigma_Image", "none", "no number"},
      {"Sigma_Image", "1e999", "no number"},
      {"Sigma_Image", "1e-400", "too small to be told from 0"},
      {"Sigma_Image", "0", "outside of what it can be: a number from 1e-9 to 1e9"},
      {"Sigma_Image", "-0.3", "outside of what it can be: a number from 1e-9 to 1e9"},
      {"Sigma_Image", "1e-10", "outside of what it can be: a number from 1e-9 to 1e9"},
      {"Sigma_Image_Cameras", "1=0.5 x",
       "no list of cameras: write none, or CAMERA=SIGMA for each: 0=0.4 1=0.8"},
      {"Sigma_GCP_Z", "-1", "outside of what it can be: 0, or a number from 1e-9 to 1e9"},
      {"Sigma_GCP_Z", "1e300", "outside of what it can be: 0, or a number from 1e-9 to 1e9"},
      {"Prior_Focal", "0", "outside of what it can be: a number from 1e-9 to 1e9, or none"},
      {"Prior_Focal", "-5", "outside of what it can be: a number from 1e-9 to 1e9, or none"},
      {"Prior_Focal", "None", "no number, and not none"},
      {"Prior_Focal", "inf", "no number, and not none"},
      {"Lever_Arm_X", "none", "no number"},
      {"Lever_Arm_X", "-1e7", "outside of what it can be: a number from -1e6 to 1e6"},
      {"Boresight_Kappa", "400", "outside of what it can be: a number from -360 to 360"},
      {"Snooping_Critical", "0", "outside of what it can be: a number from 0.1 to 1e6"},
      {"Max_Iterations", "0", "outside of what it can be: a whole number from 1 to 10000"},
      {"Max_Iterations", "3.5", "no whole number"},
      {"Max_Iterations", "99999999999", "no whole number"},
      {"Distortion", "", "none of its words: write k1k2, brown or brown_affinity"},
      {"Distortion", "K1K2", "none of its words: write k1k2, brown or brown_affinity"},
      {"Distortion", "0", "none of its words: write k1k2, brown or brown_affinity"},
      {"Lever_Arm", "true", "none of its words: write none, given or estimate"},
      {"Drift", "quadratic", "none of its words: write none, constant or linear"},
      {"Robust", "cauchy", "none of its words: write none, huber, welsch or auto"},
      {"Datum", "free", "none of its words: write auto, control, gps or inner"},
      {"Precision", "points", "none of its words: write none, images or all"},
      {"Corrected_Image", "yes", "no switch: write true or false"},
      {"Estimate_Variances", "2", "no switch: write true or false"},
  };
  for (const auto& row : rows) {
    const RigorousSetting& setting = *FindRigorousSetting(row.name);
    RigorousSettings settings;
    EXPECT_EQ(AssignValue(setting, row.value, settings), row.fault) << row.name << row.value;
    for (const RigorousSetting& one : RigorousTable())
      EXPECT_EQ(ValueText(one, settings), ValueText(one, RigorousSettings())) << row.name << row.value;
    RigorousOverride result;
    EXPECT_EQ(ParseOverride(std::string(row.name) + "=" + row.value, result),
              "'" + std::string(row.value) + "' for " + row.name + " is " + row.fault);
    EXPECT_EQ(result.pSetting, nullptr);
  }
}

TEST(RigorousOverrides, KeysThatThereAreNot) {
  const struct {
    const char *text, *fault;
  } rows[] = {
      {"", "'' is no KEY=VALUE, such as Sigma_Image=0.3"},
      {"=1", "'=1' is no KEY=VALUE, such as Sigma_Image=0.3"},
      {"Sigma_Image", "'Sigma_Image' is no KEY=VALUE, such as Sigma_Image=0.3"},
      {"Sigma_Imge=1", "there is no setting 'Sigma_Imge': did you mean Sigma_Image?"},
      {"qqqqqqqqq=1", "there is no setting 'qqqqqqqqq': orvo settings --list tells all"},
  };
  for (const auto& row : rows) {
    RigorousOverride one;
    EXPECT_EQ(ParseOverride(row.text, one), row.fault);
  }
  SettingOverride classic;
  EXPECT_EQ(ParseOverride("Sigma_Imge=1", classic), rows[3].fault);
  EXPECT_FALSE(NamesRigorousSetting("GCP_Weight=3"));
  EXPECT_FALSE(NamesRigorousSetting(""));
}

TEST(RigorousOverrides, OfOneSettingTheLastCounts) {
  const std::string texts[] = {"Sigma_Image=1", "GCP_Weight=2", "Robust=none", "Sigma_Image=2", "Robust=odd"};
  const std::vector<RigorousOverride> all = RigorousOverridesOf(texts);
  ASSERT_EQ(all.size(), 2u) << "those that hold";
  EXPECT_STREQ(all[0].pSetting->szName, "Sigma_Image");
  EXPECT_EQ(all[0].szValue, "2");
  EXPECT_EQ(all[1].szValue, "none");
}

TEST(RigorousOverrides, OddOnesAreRemarkedOn) {
  const std::string texts[] = {"Sigma_Image=70", "GCP_Weight=1e9", "Prior_Focal=none", "Sigma_GPS_Z=0.5"};
  const std::string ofWeight = "warning: GCP_Weight=1e9 is outside of what blocks want, 1e-6 to 1000";
  EXPECT_EQ(RemarksOn(texts, true),
            (std::vector<std::string>{ofWeight,
                                      "warning: Sigma_Image=70 is outside of what blocks want, 0.05 to 5"}));
  const auto none = [](const char* name) {
    return std::string("note: ") + name + " has no effect: it is a setting of --method rigorous";
  };
  EXPECT_EQ(RemarksOn(texts), (std::vector<std::string>{ofWeight, none("Sigma_Image"), none("Prior_Focal"),
                                                        none("Sigma_GPS_Z")}));
}

}  // namespace
}  // namespace orvo::test
