// The settings of a generated block, as the system reads them.
#include <gtest/gtest.h>

#include "run/BundleAdjustment.h"
#include "settings/SettingsTable.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

TEST(SettingsFiles, BothFormsSayTheSameButForTheThinning) {
  SyntheticOptions options;
  options.fAircraftSpeed = 55;
  const Block block(options);
  CBundleAdjustment xml(NativePlatform(), nullptr), ini(NativePlatform(), nullptr);
  ASSERT_EQ(xml.ReadSettings(block.Paths().szXml), 1);
  ASSERT_EQ(ini.ReadSettings(block.Paths().szIni), 1);
  for (const Setting& setting : SettingsTable()) {
    if (setting.szXmlElement == nullptr || setting.szColonKey == nullptr) continue;
    std::visit(
        [&](auto field) {
          EXPECT_NEAR(static_cast<double>(xml.Settings.*field), static_cast<double>(ini.Settings.*field),
                      1e-12 * std::abs(static_cast<double>(ini.Settings.*field)))
              << setting.szName;
        },
        setting.field);
  }
  EXPECT_FALSE(xml.Settings.Resampling_Points);
  EXPECT_TRUE(ini.Settings.Resampling_Points) << "the colon form can't switch it off";
  EXPECT_EQ(xml.Settings.Aircraft_Speed, 55);
  EXPECT_EQ(xml.Settings.Image_Coor_Scale, 0.001);
  EXPECT_TRUE(xml.Settings.Set_EOP_Unknown);
  EXPECT_TRUE(xml.Settings.Set_IOP_Unknown);
  EXPECT_FALSE(xml.Limits.Apply_GPU);
  EXPECT_FALSE(xml.Settings.Direct_Intersection);
  EXPECT_EQ(xml.Settings.Damping_Coefficient, 1e-8);
  EXPECT_EQ(xml.Settings.GCP_Weight, 1);
  EXPECT_GT(xml.Limits.GPS_WeightXY, 1e-6);
  EXPECT_LT(xml.Limits.GPS_WeightXY, 1);
}

TEST(SettingsFiles, LargeBlocksAskForPcg) {
  const auto asks = [](int32_t strips) {
    SyntheticOptions options;
    options.nStrips = strips;
    options.nImagesPerStrip = 100;
    options.fMeasurementsPerImage = 2;
    const Block block(options, {false, false, false, false, true, false});
    CBundleAdjustment object(NativePlatform(), nullptr);
    object.ReadSettings(block.Paths().szXml);
    return object.Limits.Apply_PCG_Model;
  };
  EXPECT_FALSE(asks(5));
  EXPECT_TRUE(asks(15));
}

TEST(SettingsFiles, ABlockWithoutControlIsHeldByItsDamping) {
  SyntheticOptions options;
  options.nControlPoints = 0;
  const Block block(options);
  CBundleAdjustment object(NativePlatform(), nullptr);
  object.ReadSettings(block.Paths().szXml);
  EXPECT_EQ(object.Settings.Damping_Coefficient, 1e-4);
}

TEST(SettingsFiles, OwnCamerasGetMoreStepsAndLessDamping) {
  const auto holds = [](int32_t control, double damping) {
    SyntheticOptions options;
    options.nControlPoints = control;
    options.nCameras = 0;
    const Block block(options);
    CBundleAdjustment object(NativePlatform(), nullptr);
    object.ReadSettings(block.Paths().szXml);
    EXPECT_EQ(object.Settings.Damping_Coefficient, damping);
    EXPECT_EQ(object.Settings.GCP_LM_Iteration_Num, 18);
    EXPECT_EQ(object.Settings.Free_LM_Iteration_Num, 18);
    EXPECT_FALSE(object.Limits.Apply_PCG_Model);
  };
  holds(6, 1e-14);
  holds(0, 1e-10);
}

}  // namespace
}  // namespace orvo::test
