#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "run/BundleAdjustment.h"
#include "settings/SettingsTable.h"
#include "support/Console.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

class Settings : public ::testing::Test {
 protected:
  int Read(const std::string& name, const std::string& content) {
    const std::string path = folder / name;
    WriteFile(path, content);
    block.Inputs.Forget();
    return block.ReadSettings(path);
  }
  ScratchFolder folder;
  Console console;
  CBundleAdjustment block{NativePlatform(), console.Stream()};
};

std::string Value(const CBundleAdjustment& block, const Setting& setting) {
  return std::visit([&](auto field) { return std::to_string(block.Settings.*field); }, setting.field);
}

TEST_F(Settings, EmptyPathKeepsTheDefaults) {
  EXPECT_EQ(block.ReadSettings(""), 0);
  EXPECT_EQ(console.Text(), "Open initial parameter file failed!\nUse default parameters!\n");
}

TEST_F(Settings, MissingColonFileKeepsTheDefaults) {
  EXPECT_EQ(block.ReadSettings(folder / "no.ini"), 0);
  EXPECT_EQ(console.Text(), "Open initial parameter file failed!\nUse default parameters!\n");
  EXPECT_EQ(block.Settings.Max_LM_Iteration_Num, 20);
}

TEST_F(Settings, XmlOfTooManyMarksIsAFault) {
  const struct {
    const char *head, *body, *tail;
    int count;
    bool bFails;
  } rows[] = {{"<a>", "<b/>", "</a>", 99998, false},
              {"<a>", "<b/>", "</a>", 99999, true},
              {"<a ", "b='' ", "/>", 100000, false},
              {"<a ", "b='' ", "/>", 100001, true}};
  for (const auto& row : rows) {
    std::string text = row.head;
    for (int i = 0; i < row.count; ++i) text += row.body;
    Read("marks.xml", text + row.tail);
    EXPECT_EQ(row.bFails, block.Inputs.Any()) << row.body << row.count;
    EXPECT_EQ(row.bFails ? "it has more than 100000 XML marks" : "", block.Inputs.First().szReason);
  }
}

TEST_F(Settings, FolderIsNoColonFile) { EXPECT_EQ(block.ReadSettings(folder.Path()), 0); }

TEST_F(Settings, EveryColonKeySetsItsFieldAndNoOther) {
  for (const Setting& setting : SettingsTable()) {
    if (setting.szColonKey == nullptr) continue;
    CBundleAdjustment before(NativePlatform(), nullptr), after(NativePlatform(), nullptr);
    const std::string path = folder / "one.ini";
    for (const char* text : {"0", "37"}) {
      WriteFile(path, std::string(setting.szColonKey) + ":" + text + "\n");
      EXPECT_EQ(after.ReadSettings(path), 1);
      const bool isSwitch = std::holds_alternative<bool AdjustmentSettings::*>(setting.field);
      EXPECT_EQ(std::stod(Value(after, setting)), isSwitch ? std::stod(text) != 0 : std::stod(text))
          << setting.szName;
    }
    for (const Setting& other : SettingsTable()) {
      if (&other == &setting) continue;
      EXPECT_EQ(Value(after, other), Value(before, other)) << other.szName;
    }
  }
}

TEST_F(Settings, EveryXmlElementSetsItsField) {
  for (const Setting& setting : SettingsTable()) {
    if (setting.szXmlElement == nullptr) continue;
    const bool isSwitch = std::holds_alternative<bool AdjustmentSettings::*>(setting.field);
    const std::string element = setting.szXmlElement, parent = setting.szXmlParent;
    EXPECT_EQ(Read("one.xml", "<" + parent + "><" + element + ">" + (isSwitch ? "true" : "8") + "</" +
                                  element + "></" + parent + ">"),
              1);
    double expected = isSwitch ? 1 : 8;
    if (element == "GPS_Accuracy_XY" || element == "GPS_Accuracy_Z") expected = 0.001 / 8;
    if (element == "GCP_Accuracy") expected = 1.0 / 8;
    EXPECT_DOUBLE_EQ(
        std::visit([&](auto field) { return static_cast<double>(block.Settings.*field); }, setting.field),
        expected)
        << setting.szName;
  }
  EXPECT_EQ(console.Text(), "");
}

TEST_F(Settings, ThoseOfTheRigorousMethodChangeNothing) {
  const std::string xml = "<Weight><GCP_Accuracy>4</GCP_Accuracy></Weight>\n", ini = "GCP_Weight:4\n";
  const struct {
    const char* name;
    std::string plain, with;
  } rows[] = {
      {"s.xml", xml, "<Rigorous><GCP_Accuracy>9</GCP_Accuracy><Sigma_Image>x</Sigma_Image></Rigorous>" + xml},
      {"s.ini", ini, "Sigma_Image:0.3\nSigma_Imge:x\n" + ini}};
  for (const auto& row : rows) {
    ASSERT_EQ(Read(row.name, row.plain), 1);
    const AdjustmentSettings plain = block.Settings;
    ASSERT_EQ(Read(row.name, row.with), 1);
    for (const Setting& setting : SettingsTable()) {
      std::visit([&](auto field) { EXPECT_EQ(block.Settings.*field, plain.*field) << setting.szName; },
                 setting.field);
    }
  }
  EXPECT_EQ(console.Text(), "");
}

TEST_F(Settings, ColonForm) {
  struct {
    const char* text;
    double expected;
  } const table[] = {
      {"Damping_Coefficient:0.01\n", 0.01},
      {"Damping_Coefficient:0.01", 0.01},
      {"Damping_Coefficient:0.01\r\n", 0.01},
      {"Damping_Coefficient:  2.5e-3x\n", 2.5e-3},
      {"Damping_Coefficient:x\n", 0},
      {"Damping_Coefficient:\n", 0},
      {"Damping_Coefficient:0.01:\n", 0.001},  // the last colon ends an unknown key
      {"Damping_Coefficient :0.01\n", 0.001},
      {" Damping_Coefficient:0.01\n", 0.001},
      {"damping_coefficient:0.01\n", 0.001},
      {"Damping_Coefficient=0.01\n", 0.001},
      {"Damping_Coefficient:1\nDamping_Coefficient:2\n", 2},
      {"\n\n# a comment line\nsome: other\nDamping_Coefficient:3\n", 3},
      {"", 0.001},
  };
  for (const auto& row : table) {
    block.Settings.Damping_Coefficient = 0.001;
    EXPECT_EQ(Read("a.ini", row.text), 1);
    EXPECT_EQ(block.Settings.Damping_Coefficient, row.expected) << row.text;
  }
  EXPECT_EQ(console.Text(), "");
}

TEST_F(Settings, ColonIntegersAndSwitchesParseTheirPrefix) {
  Read("a.ini",
       "Max_LM_Iteration_Num:12abc\nApply_PCG_Model:-1\nSet_EOP_Unknown:true\nCoor_Normalization:0.9\n");
  EXPECT_EQ(block.Settings.Max_LM_Iteration_Num, 12);
  EXPECT_TRUE(block.Limits.Apply_PCG_Model);
  EXPECT_FALSE(block.Settings.Set_EOP_Unknown);
  EXPECT_FALSE(block.Limits.Coor_Normalization);
}

TEST_F(Settings, ColonFormHasNoModes) {
  Read("a.ini",
       "Direct_Intersection:1\nAbsolute_Orientation:1\nResampling_Points:0\nPoint_Resample_Number:9\n");
  EXPECT_FALSE(block.Settings.Direct_Intersection);
  EXPECT_FALSE(block.Settings.Absolute_Orientation);
  EXPECT_TRUE(block.Settings.Resampling_Points);
  EXPECT_EQ(block.Settings.Point_Resample_Number, 6);
}

TEST_F(Settings, GpuSwitchIsWrittenDifferentlyInTheTwoForms) {
  Read("a.xml", "<GPU_parameters><Apply_GPU>1</Apply_GPU></GPU_parameters>");
  EXPECT_FALSE(block.Limits.Apply_GPU);
  Read("a.ini", "Apply_GPU:1\n");
  EXPECT_TRUE(block.Limits.Apply_GPU);
}

TEST_F(Settings, XmlSwitchIsTrueOnlyForTheWord) {
  for (const char* text : {"True", "TRUE", "1", " true", "true ", "yes", ""}) {
    block.Limits.Apply_GPU = true;
    Read("a.xml", std::string("<GPU_parameters><Apply_GPU>") + text + "</Apply_GPU></GPU_parameters>");
    EXPECT_FALSE(block.Limits.Apply_GPU) << text;
  }
  Read("a.xml", "<GPU_parameters><Apply_GPU><![CDATA[true]]></Apply_GPU></GPU_parameters>");
  EXPECT_TRUE(block.Limits.Apply_GPU);
}

TEST_F(Settings, AbsentXmlElementsAssignZero) {
  Read("a.xml", "<Adjustment_parameters><Set_EOP_Unknown>true</Set_EOP_Unknown></Adjustment_parameters>");
  EXPECT_TRUE(block.Settings.Set_EOP_Unknown);
  EXPECT_FALSE(block.Settings.Set_IOP_Unknown);
  EXPECT_FALSE(block.Settings.Resampling_Points);
  EXPECT_FALSE(block.Limits.Apply_GPU);
  EXPECT_EQ(block.Settings.Aircraft_Speed, 0);
  EXPECT_EQ(block.Settings.Max_LM_Iteration_Num, 0);
  EXPECT_EQ(block.Settings.Initial_Weight, 0);
  EXPECT_EQ(block.Settings.IMU_Weight, 0);
  EXPECT_TRUE(std::isinf(block.Limits.GPS_WeightXY));
  EXPECT_TRUE(std::isinf(block.Limits.GPS_WeightZ));
  EXPECT_TRUE(std::isinf(block.Settings.GCP_Weight));
  // Fields that the form can't set.
  EXPECT_EQ(block.Settings.Block_Num, 64);
  EXPECT_EQ(block.Limits.nThreadNum, 0);
  EXPECT_EQ(block.Settings.fDampingBase, 1000.0);
}

TEST_F(Settings, BrokenXmlReadsLikeAbsentElements) {
  for (const char* text :
       {"", "<", "<Weight><GCP_Accuracy>4", "not xml at all", "<a><b></a>", "\xff\xfe\x01"}) {
    block.Settings.Set_EOP_Unknown = true;
    EXPECT_EQ(Read("a.xml", text), 1);
    EXPECT_FALSE(block.Settings.Set_EOP_Unknown) << text;
  }
  EXPECT_EQ(block.ReadSettings(folder / "missing.XML"), 1);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(Settings, XmlElementsUnderOneRootAreNotFound) {
  Read("a.xml",
       "<Settings><Adjustment_parameters><Max_LM_Iteration_Num>7</Max_LM_Iteration_Num>"
       "</Adjustment_parameters></Settings>");
  EXPECT_EQ(block.Settings.Max_LM_Iteration_Num, 0);
}

TEST_F(Settings, FirstOfTwoSameNamedElementsWins) {
  Read("a.xml",
       "<Weight><GCP_Accuracy>2</GCP_Accuracy><GCP_Accuracy>4</GCP_Accuracy></Weight>"
       "<Weight><GCP_Accuracy>8</GCP_Accuracy></Weight>");
  EXPECT_EQ(block.Settings.GCP_Weight, 0.5);
}

TEST_F(Settings, MisspeltWeightOfTheXmlForm) {
  Read("a.xml", "<Weight><Gross_Point_Weight>3</Gross_Point_Weight></Weight>");
  EXPECT_EQ(block.Settings.Gross_Point_Weight, 0);
  Read("a.xml", "<Weight><Gross_Point_Weigh>3</Gross_Point_Weigh></Weight>");
  EXPECT_EQ(block.Settings.Gross_Point_Weight, 3);
}

TEST_F(Settings, MixedCaseExtensionIsReadAsColonForm) {
  EXPECT_EQ(Read("a.Xml", "Max_LM_Iteration_Num:5\n"), 1);
  EXPECT_EQ(block.Settings.Max_LM_Iteration_Num, 5);
}

}  // namespace
}  // namespace orvo::test
