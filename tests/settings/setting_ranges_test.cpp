// Values of --set that hold and are odd all the same.
#include "settings/SettingRanges.h"

#include <gtest/gtest.h>

namespace orvo::test {
namespace {

TEST(SettingRanges, OddOnesAreRemarkedOn) {
  const struct {
    const char *text, *remark;
  } rows[] = {
      {"GCP_Weight=1000", ""},
      {"GCP_Accuracy=0.001", ""},
      {"GPS_Accuracy_XY=0.001", ""},
      {"GPS_Accuracy_XY=1e9", ""},
      {"Damping_Coefficient=1e-14", ""},
      {"Apply_GPU=true", ""},
      {"Apply_GPS_Data=false", ""},
      {"GCP_Weight=1e300", "warning: GCP_Weight=1e300 is outside of what blocks want, 1e-6 to 1000"},
      {"GCP_Weight=0", "warning: GCP_Weight=0 is outside of what blocks want, 1e-6 to 1000"},
      {"GPS_Accuracy_Z=1e10", "warning: GPS_Accuracy_Z=1e10 is outside of what blocks want, 0.001 to 1e9"},
      {"Max_LM_Iteration_Num=101",
       "warning: Max_LM_Iteration_Num=101 is outside of what blocks want, 1 to 100"},
      {"Block_Num=4", "note: Block_Num has no effect: not consulted"},
      {"Thread_Num=99999",
       "note: Thread_Num has no effect: not consulted; the number of threads follows from processors and "
       "memory"},
      {"PCG_Converge_Threshold=1", "note: PCG_Converge_Threshold has no effect: not consulted"},
      {"IMU_Accuracy=2",
       "note: IMU_Accuracy has no effect: not consulted: angles weigh 1 with GPS data, and as GPS positions "
       "without; XML: the value as it stands"},
      {"Max_PCG_Iteration_Num=5",
       "note: Max_PCG_Iteration_Num has no effect: limit of the iterative solver; overwritten in every "
       "iteration, with 300, on the device path with 30 and from the fourth iteration on with 10"},
  };
  for (const auto& row : rows) {
    const std::string text = row.text;
    SettingOverride one;
    ASSERT_EQ(ParseOverride(text, one), "") << text;
    std::vector<std::string> expected;
    if (*row.remark != 0) expected.emplace_back(row.remark);
    EXPECT_EQ(RemarksOn({&text, 1}), expected) << text;
  }
}

TEST(SettingRanges, EachIsInForceOnce) {
  std::vector<SettingOverride> all(4);
  ASSERT_EQ(ParseOverride("GCP_Accuracy=2", all[0]), "");
  ASSERT_EQ(ParseOverride("Apply_GPU=true", all[1]), "");
  ASSERT_EQ(ParseOverride("GCP_Weight=7", all[2]), "");
  ASSERT_EQ(ParseOverride("GCP_Accuracy=4", all[3]), "");
  const std::vector<SettingOverride> inForce = InForce(all);
  ASSERT_EQ(inForce.size(), 2u);
  EXPECT_STREQ(inForce[0].pSetting->szName, "GCP_Weight");
  EXPECT_EQ(inForce[0].szValue, "4");
  EXPECT_TRUE(inForce[0].bXmlName);
  EXPECT_STREQ(inForce[1].pSetting->szName, "Apply_GPU");
  // What is not in force is not remarked on.
  const std::string texts[] = {"GCP_Weight=1e9", "Block_Num=1", "GCP_Accuracy=1", "Block_Num=2"};
  EXPECT_EQ(RemarksOn(texts), std::vector<std::string>{"note: Block_Num has no effect: not consulted"});
}

}  // namespace
}  // namespace orvo::test
