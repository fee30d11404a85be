// The section of a settings file, and weights told as standard deviations.
#include "settings/RigorousFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "settings/RigorousValues.h"
#include "settings/SettingWeights.h"
#include "settings/SettingsFile.h"

namespace orvo::test {
namespace {

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(RigorousFile, HoldsEverySettingExplained) {
  const std::string text = RigorousSectionText({});
  size_t comments = 0;
  for (size_t at = text.find("<!--"); at != std::string::npos; at = text.find("<!--", at + 1)) {
    ++comments;
    const size_t end = text.find("--", at + 4);
    ASSERT_NE(end, std::string::npos);
    EXPECT_EQ(text.substr(end, 3), "-->") << text.substr(at, end - at);
  }
  EXPECT_EQ(comments, RigorousTable().size() + 1);
  size_t last = text.find("<Rigorous>\n");
  ASSERT_NE(last, std::string::npos);
  for (const RigorousSetting& setting : RigorousTable()) {
    const std::string name = setting.szName;
    const size_t at =
        text.find("\n  <" + name + ">" + ValueText(setting, RigorousSettings()) + "</" + name + ">\n");
    ASSERT_NE(at, std::string::npos) << name;
    EXPECT_LT(last, at) << "in the order of the table";
    last = at;
  }
  EXPECT_TRUE(text.ends_with("\n</Rigorous>\n"));
}

TEST(RigorousFile, APresetHasItsPositions) {
  const ChosenRigorous rtk = RigorousFor(*FindPreset("drone-rtk")),
                       crewed = RigorousFor(*FindPreset("crewed"));
  EXPECT_EQ(rtk.Settings.Sigma_GPS_XY, 0.02);
  EXPECT_EQ(rtk.Settings.Sigma_GPS_Z, 0.03);
  EXPECT_EQ(rtk.Settings.Drift, DriftForm::None);
  EXPECT_EQ(crewed.Settings.Sigma_GPS_Z, 0.1);
  EXPECT_EQ(crewed.Settings.Drift, DriftForm::Linear);
  EXPECT_TRUE(Has(RigorousSectionText(crewed), "Here: long strips drift. -->\n  <Drift>linear</Drift>\n"));
}

TEST(RigorousFile, WhatIsStatedGoesInAsItIs) {
  ChosenRigorous chosen = RigorousFor(*FindPreset("drone"));
  State({}, chosen);
  EXPECT_EQ(chosen.Settings.Sigma_Image, 0.5);
  EXPECT_EQ(chosen.Settings.Sigma_GPS_XY, 1.5);
  State({0.31, 0.07, 0.11, 0.013}, chosen);
  EXPECT_EQ(chosen.Settings.Sigma_Image, 0.31);
  EXPECT_EQ(chosen.Settings.Sigma_GPS_XY, 0.07);
  EXPECT_EQ(chosen.Settings.Sigma_GPS_Z, 0.11);
  EXPECT_EQ(chosen.Settings.Sigma_GCP_XY, 0.013);
  EXPECT_EQ(chosen.Settings.Sigma_GCP_Z, 0.013);
  const std::string text = RigorousSectionText(chosen);
  EXPECT_TRUE(Has(text, "<Sigma_Image>0.31</Sigma_Image>"));
  EXPECT_TRUE(Has(text, "Here: as stated."));
}

TEST(RigorousFile, WeightsAreToldBesideThem) {
  ChosenRigorous chosen;
  TellWeightSigmas({1.7, {}, 0.0}, chosen);
  EXPECT_EQ(chosen.Settings.Sigma_GPS_XY, RigorousSettings().Sigma_GPS_XY) << "told, not taken";
  EXPECT_EQ(chosen.Why.at("Sigma_GPS_XY"), "GPS_WeightXY of this file counts them as good to 1.7");
  EXPECT_EQ(chosen.Why.count("Sigma_GPS_Z"), 0u);
  EXPECT_EQ(chosen.Why.at("Sigma_GCP_XY"), "GCP_Weight of this file counts them as good to 0");
  State({{}, 0.1, 0.2, {}}, chosen);
  EXPECT_EQ(chosen.Why.at("Sigma_GPS_XY"), "as stated");
  TellWeightSigmas({1.7, {}, {}}, chosen);
  EXPECT_EQ(chosen.Why.at("Sigma_GPS_XY"), "as stated; GPS_WeightXY of this file counts them as good to 1.7");
}

TEST(WeightSigmas, AreThoseThatTheWeightsWereMadeOf) {
  BlockFacts facts;
  facts.fObjectScale = 2.5;
  facts.fGroundPixel = 0.05;
  facts.fControlRays = 7;
  AdjustmentSettings settings;
  for (const double pixel : {0.2, 0.75}) {
    const WeightUnits units{pixel, settings.Image_Coor_Scale, facts.fObjectScale};
    settings.GPS_WeightXY = GpsWeightOf(1.7, units);
    settings.GPS_WeightZ = GpsWeightOf(0.03, units);
    settings.GCP_Weight = ControlWeightOf(0.02, {pixel, facts.fGroundPixel, facts.fControlRays});
    const WeightSigmas sigmas = SigmasOfWeights(settings, facts, pixel);
    EXPECT_NEAR(sigmas.GpsXY.value_or(-1), 1.7, 1e-12);
    EXPECT_NEAR(sigmas.GpsZ.value_or(-1), 0.03, 1e-12);
    EXPECT_NEAR(sigmas.Gcp.value_or(-1), 0.02, 1e-12);
  }
}

TEST(WeightSigmas, WeightsThatTellNone) {
  BlockFacts facts;
  facts.fGroundPixel = 0.05;
  facts.fControlRays = 3;
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  for (const double weight : {0.0, -1.0, nan, inf}) {
    AdjustmentSettings settings;
    settings.GPS_WeightXY = settings.GPS_WeightZ = weight;
    settings.GCP_Weight = weight;
    const WeightSigmas sigmas = SigmasOfWeights(settings, facts, 0.5);
    EXPECT_FALSE(sigmas.GpsXY) << weight;
    EXPECT_FALSE(sigmas.GpsZ) << weight;
    EXPECT_EQ(sigmas.Gcp.has_value(), weight == inf) << weight;
  }
  AdjustmentSettings settings;
  settings.GCP_Weight = 100;
  EXPECT_EQ(SigmasOfWeights(settings, facts, 0.5).Gcp, 0.0) << "as points without error";
  EXPECT_FALSE(SigmasOfWeights(settings, {}, 0.5).Gcp) << "the size of a pixel is not known";
}

}  // namespace
}  // namespace orvo::test
