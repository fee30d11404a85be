// KEY=VALUE of a command line.
#include "settings/SettingOverrides.h"

#include <gtest/gtest.h>

#include "settings/SettingNames.h"
#include "settings/SettingValues.h"

namespace orvo::test {
namespace {

TEST(SettingNames, EverySpellingIsFound) {
  for (const Setting& setting : SettingsTable()) {
    for (const char* name : {setting.szName, setting.szColonKey, setting.szXmlElement}) {
      if (name == nullptr) continue;
      EXPECT_EQ(FindSetting(name).pSetting, &setting) << name;
    }
    EXPECT_FALSE(FindSetting(setting.szName).bXmlName) << setting.szName;
  }
  EXPECT_TRUE(FindSetting("GPS_Accuracy_XY").bXmlName);
  EXPECT_EQ(FindSetting("gps_accuracy_xy").pSetting, nullptr);
  EXPECT_EQ(FindSetting("").pSetting, nullptr);
}

TEST(SettingNames, TheNearestIsTold) {
  EXPECT_EQ(NearestSettingName("Max_LM_Iterations_Num"), "Max_LM_Iteration_Num");
  EXPECT_EQ(NearestSettingName("damping-coefficient"), "Damping_Coefficient");
  EXPECT_EQ(NearestSettingName("GCP_Acuracy"), "GCP_Accuracy");
  EXPECT_EQ(NearestSettingName("zzzzzzzzzzzz"), "");
}

TEST(SettingOverrides, GoodOnesSetTheirField) {
  const struct {
    const char *text, *field, *value;
  } rows[] = {
      {"Max_LM_Iteration_Num=30", "Max_LM_Iteration_Num", "30"},
      {"Damping_Coefficient=1e-6", "Damping_Coefficient", "1e-06"},
      {"Thread_Num=3", "nThreadNum", "3"},
      {"Apply_GPS_Data=true", "Apply_GPS_Data", "true"},
      {"Apply_GPS_Data=on", "Apply_GPS_Data", "true"},
      {"Apply_GPS_Data=1", "Apply_GPS_Data", "true"},
      {"Resampling_Points=false", "Resampling_Points", "false"},
      {"Resampling_Points=off", "Resampling_Points", "false"},
      {"Resampling_Points=0", "Resampling_Points", "false"},
      // A weight by its own name, and an accuracy by that of the XML element.
      {"GPS_WeightXY=0.25", "GPS_WeightXY", "0.25"},
      {"GPS_Accuracy_XY=0.004", "GPS_WeightXY", "0.25"},
      {"GCP_Weight=4", "GCP_Weight", "4"},
      {"GCP_Accuracy=4", "GCP_Weight", "0.25"},
      {"Gross_Point_Weigh=2", "Gross_Point_Weight", "2"},
      {"IMU_Accuracy=2", "IMU_Weight", "2"},
  };
  for (const auto& row : rows) {
    SettingOverride one;
    ASSERT_EQ(ParseOverride(row.text, one), "") << row.text;
    AdjustmentSettings settings;
    ApplyOverrides({&one, 1}, settings);
    EXPECT_EQ(ValueText(*FindSetting(row.field).pSetting, settings), row.value) << row.text;
  }
}

TEST(SettingOverrides, TheLastOneCounts) {
  std::vector<SettingOverride> all(2);
  ASSERT_EQ(ParseOverride("Max_LM_Iteration_Num=3", all[0]), "");
  ASSERT_EQ(ParseOverride("Max_LM_Iteration_Num=4", all[1]), "");
  AdjustmentSettings settings;
  ApplyOverrides(all, settings);
  EXPECT_EQ(settings.Max_LM_Iteration_Num, 4);
}

TEST(SettingOverrides, WrongOnesSayWhy) {
  const struct {
    const char *text, *named;
  } rows[] = {
      {"", "KEY=VALUE"},
      {"=", "KEY=VALUE"},
      {"=1", "KEY=VALUE"},
      {"Max_LM_Iteration_Num", "KEY=VALUE"},
      {"Max_LM_Iteraton_Num=3", "did you mean Max_LM_Iteration_Num?"},
      {"qqqqqqqq=3", "orvo settings --list"},
      {" Max_LM_Iteration_Num=3", "there is no setting"},
      {"Max_LM_Iteration_Num=", "no whole number"},
      {"Max_LM_Iteration_Num=3.5", "no whole number"},
      {"Max_LM_Iteration_Num=3 4", "no whole number"},
      {"Max_LM_Iteration_Num=99999999999", "no whole number"},
      {"Max_LM_Iteration_Num=3=4", "no whole number"},
      {"Damping_Coefficient=x", "no number"},
      {"Damping_Coefficient=1e-3x", "no number"},
      {"Damping_Coefficient=nan", "no number"},
      {"Damping_Coefficient=inf", "no number"},
      {"Damping_Coefficient=1e999", "no number"},
      {"Apply_GPS_Data=yes", "true or false"},
      {"Apply_GPS_Data=2", "true or false"},
      {"Apply_GPS_Data=", "true or false"},
      {"GCP_Accuracy=0", "weight without end"},
      {"GPS_Accuracy_Z=0", "weight without end"},
      {"Max_LM_Iteration_Num=0x10", "no whole number"},
      {"Damping_Coefficient=0x1p-3", "no number"},
      {"Damping_Coefficient=infinity", "no number"},
      {"Damping_Coefficient=1e-400", "too small to be told from 0"},
      {"GCP_Weight=0.001e-400", "too small to be told from 0"},
      {"GCP_Accuracy=1e-400", "too small to be told from 0"},
      {"Damping_Coefficient=-1", "it has to be 0 or more; blocks want 1e-14 to 0.01"},
      {"GCP_Weight=-100", "it has to be 0 or more; blocks want 1e-6 to 1000"},
      {"GCP_Accuracy=-1", "it has to be above 0; blocks want 0.001 to 1e6"},
      {"GPS_Accuracy_Z=-5", "it has to be above 0; blocks want 0.001 to 1e9"},
      {"Max_LM_Iteration_Num=-1", "it has to be 0 or more; blocks want 1 to 100"},
      {"Point_Resample_Number=0", "it has to be above 0; blocks want 1 to 50"},
      {"Image_Coor_Scale=0", "it has to be above 0; blocks want 1e-6 to 1"},
      {"Object_Coor_Scale=-1", "it has to be above 0; blocks want 0.001 to 1000"},
      {"Gross_Point_Threshold=0", "it has to be above 0; blocks want 2 to 20"},
      {"Thread_Num=-1", "it has to be 0 or more; blocks want 0 to 4096"},
  };
  for (const auto& row : rows) {
    SettingOverride one;
    const std::string fault = ParseOverride(row.text, one);
    EXPECT_NE(fault.find(row.named), std::string::npos) << row.text << ": " << fault;
    EXPECT_EQ(one.pSetting, nullptr) << row.text;
  }
}

TEST(SettingOverrides, ZeroIsAValueWhereItMeansSomething) {
  for (const char* text : {"Damping_Coefficient=0", "Damping_Coefficient=0.0e5", "GCP_Weight=0",
                           "Max_LM_Iteration_Num=0", "Aircraft_Speed=-0"}) {
    SettingOverride one;
    EXPECT_EQ(ParseOverride(text, one), "") << text;
  }
}

}  // namespace
}  // namespace orvo::test
