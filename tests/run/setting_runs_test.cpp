// Settings that are written for a block, or said on the command line, in runs.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <sstream>
#include <vector>

#include "run/BlockReading.h"
#include "run/BundleAdjustment.h"
#include "run/InputCheck.h"
#include "run/RunDiagnosis.h"
#include "run/SettingFigures.h"
#include "run/SettingsReading.h"
#include "settings/SettingNames.h"
#include "settings/SettingValues.h"
#include "settings/SettingWeights.h"
#include "settings/SettingsFile.h"
#include "support/Block.h"
#include "verdict/VerdictText.h"

namespace orvo::test {
namespace {

SettingOverride Override(const char* text) {
  SettingOverride one;
  EXPECT_EQ(ParseOverride(text, one), "");
  return one;
}

/// The facts of a block, with a POS file where that is asked for.
BlockFacts FactsOf(const RunPaths& paths) {
  Diagnosis diagnosis;
  const auto facts = ReadBlockFacts(paths, AdjustmentSettings(), NativePlatform(), diagnosis);
  EXPECT_TRUE(facts);
  return facts.value_or(BlockFacts());
}

/// A guarded run with the settings of a preset that were fitted to the block.
RunOutcome RunPreset(RunPaths paths, const char* preset, const StatedSigmas& sigmas,
                     const std::string& folder) {
  const ChosenSettings chosen = SettingsFor(*FindPreset(preset), FactsOf(paths), sigmas);
  paths.szSettings = folder + "/preset.xml";
  paths.szOutput = folder + "/of-preset";
  WriteFile(paths.szSettings, SettingsFileText(chosen, {"a test"}));
  EXPECT_TRUE(CheckSettings(paths.szSettings, KnownSettings()).empty());
  RunOptions options;
  options.Rules = RunRules::Guarded;
  return RunAdjustment(paths, NativePlatform(), nullptr, options);
}

TEST(SettingRuns, WhatIsWrittenIsReadBack) {
  ScratchFolder folder;
  for (const SettingPreset& preset : SettingPresets()) {
    StatedSigmas sigmas{0.7, 0.013, 0.029, 0.017};
    BlockFacts facts;
    facts.nImages = 50;
    facts.nCameras = 1;
    facts.fObjectScale = 1.7;
    facts.fGroundPixel = 0.031;
    facts.fControlRays = 6.5;
    const ChosenSettings chosen = SettingsFor(preset, facts, sigmas);
    WriteFile(folder / "a.xml", SettingsFileText(chosen, {"Comments with <elements>, & and --"}));
    CBundleAdjustment block(NativePlatform(), nullptr);
    ASSERT_EQ(block.ReadSettings(folder / "a.xml"), 1);
    for (const Setting& setting : SettingsTable()) {
      if (setting.szXmlElement == nullptr) continue;
      const double read =
          std::visit([&](auto field) { return static_cast<double>(block.Settings.*field); }, setting.field);
      const double wanted =
          std::visit([&](auto field) { return static_cast<double>(chosen.Settings.*field); }, setting.field);
      EXPECT_NEAR(read, wanted, 1e-15 * std::fabs(wanted)) << preset.szName << " " << setting.szName;
    }
    const WeightUnits units{0.7, block.Settings.Image_Coor_Scale, 1.7};
    EXPECT_NEAR(GpsSigmaOf(block.Limits.GPS_WeightXY, units), 0.013, 1e-9 * 0.013);
    EXPECT_NEAR(GpsSigmaOf(block.Limits.GPS_WeightZ, units), 0.029, 1e-9 * 0.029);
    EXPECT_NEAR(ControlSigmaOf(block.Settings.GCP_Weight, {0.7, 0.031, 6.5}), 0.017, 1e-9 * 0.017);
  }
}

TEST(SettingRuns, CommentsMayStandAnywhere) {
  ScratchFolder folder;
  WriteFile(folder / "a.xml",
            "<!-- a --><!-- <Weight> --><Weight><!-- <GCP_Accuracy>9</GCP_Accuracy> -->\n"
            "<GCP_Accuracy><!-- b -->4<!-- c --></GCP_Accuracy><!-- d --></Weight><!-- e\nf -->");
  CBundleAdjustment block(NativePlatform(), nullptr);
  block.ReadSettings(folder / "a.xml");
  EXPECT_EQ(block.Settings.GCP_Weight, 0.25);
}

TEST(SettingRuns, FactsAreThoseOfTheRun) {
  SyntheticOptions options;
  options.nControlPoints = 3;
  options.fPosNoise = 0.03;
  // A frame of its own, from which the block goes to the POS file.
  options.fFrameScale = 0.5;
  const Block block(options);
  RunPaths paths{block.Paths().szText, "", block.Paths().szPos, "", ""};
  const BlockFacts facts = FactsOf(paths);
  EXPECT_EQ(facts.nImages, block.Truth().Counts.nImages);
  EXPECT_EQ(facts.nCameras, block.Truth().Counts.nCameras);
  EXPECT_EQ(facts.nStrips, block.Truth().Counts.nStrips);
  double low[3] = {1e300, 1e300, 1e300}, high[3] = {-1e300, -1e300, -1e300};
  for (const SyntheticImage& image : block.Truth().pImages) {
    const double place[3] = {image.X, image.Y, image.Z};
    for (int i = 0; i < 3; ++i) {
      low[i] = std::min(low[i], place[i]);
      high[i] = std::max(high[i], place[i]);
    }
  }
  const double extent = std::max(high[0] - low[0], high[1] - low[1]);
  EXPECT_NEAR(facts.fObjectScale * extent, 1000, 10);
  EXPECT_NEAR(FactsOf({block.Paths().szText, "", "", "", ""}).fObjectScale, 2 * facts.fObjectScale,
              0.02 * facts.fObjectScale)
      << "without POS data the block stays in its own frame";
}

TEST(SettingRuns, ControlIsMeasured) {
  SyntheticOptions options;
  options.nControlPoints = 6;
  const Block block(options);
  const BlockFacts facts = FactsOf({block.Paths().szText, block.Paths().szGcp, "", "", ""});
  EXPECT_EQ(facts.nControl, 6);
  // Rays to the edge of an image are longer than the flying height.
  const double ground = options.fFlyingHeight / options.fFocal;
  EXPECT_GT(facts.fGroundPixel, 0.9 * ground);
  EXPECT_LT(facts.fGroundPixel, 1.4 * ground);
  EXPECT_GE(facts.fControlRays, 2);
}

TEST(SettingRuns, ABrokenBlockHasNoFacts) {
  ScratchFolder folder;
  WriteFile(folder / "a.prj", "1 2 3\nrubbish\n");
  Diagnosis diagnosis;
  EXPECT_FALSE(
      ReadBlockFacts({folder / "a.prj", "", "", "", ""}, AdjustmentSettings(), NativePlatform(), diagnosis));
  EXPECT_GT(diagnosis.ErrorNum(), 0);
}

TEST(SettingRuns, PresetsAreGoodOnTheirBlocks) {
  const struct {
    const char* preset;
    int32_t control, cameras;
    bool pos;
    double tilt, start;
  } rows[] = {{"drone", 0, 1, false, 1, 1},    {"drone", 6, 1, false, 1, 1},
              {"drone-rtk", 0, 1, true, 1, 1}, {"drone-rtk", 6, 1, true, 1, 1},
              {"crewed", 6, 1, true, 1, 0},    {"oblique", 6, 4, false, 8, 1},
              {"large", 6, 1, false, 1, 1},    {"calibrated", 6, 1, false, 1, 0}};
  for (const auto& row : rows) {
    SyntheticOptions options;
    options.nStrips = 4;
    options.nImagesPerStrip = 6;
    options.fMeasurementsPerImage = 60;
    options.nControlPoints = row.control;
    options.nCameras = row.cameras;
    options.fTilt = row.tilt;
    options.fPosNoise = 0.03;
    options.fStartFocal *= row.start;
    options.fStartPrincipal *= row.start;
    options.fStartK1 *= row.start;
    options.fStartK2 *= row.start;
    const Block block(options);
    const SyntheticPaths& files = block.Paths();
    ScratchFolder folder;
    const RunOutcome outcome =
        RunPreset({files.szText, row.control > 0 ? files.szGcp : "", row.pos ? files.szPos : "", "", ""},
                  row.preset, {}, folder.Path());
    EXPECT_TRUE(outcome.bDone) << row.preset;
    EXPECT_EQ(VerdictText(outcome.Judgement), "Verdict: good\n") << row.preset << " " << row.control;
  }
}

TEST(SettingRuns, PresetsAreGoodOnTheExample) {
  const struct {
    const char* preset;
    bool pos;
  } rows[] = {{"drone", false}, {"drone-rtk", true}, {"crewed", true},
              {"large", false}, {"oblique", false},  {"calibrated", false}};
  for (const auto& row : rows) {
    ScratchFolder folder;
    StatedSigmas sigmas;
    // The positions of the example come from an ordinary receiver.
    if (row.pos) sigmas = {0.75, 1.7, 3.0, {}};
    const RunOutcome outcome = RunPreset(
        {Example("seneca/seneca_start.prj"), "", row.pos ? Example("seneca/seneca_pos.txt") : "", "", ""},
        row.preset, sigmas, folder.Path());
    EXPECT_TRUE(outcome.bDone) << row.preset;
    EXPECT_EQ(VerdictText(outcome.Judgement), "Verdict: good\n") << row.preset;
  }
}

/// Root mean squares of observed less adjusted positions, the mean of each strip taken off.
std::array<double, 3> DifferencesOf(const std::string& result, const std::string& pos) {
  const ProjectFile project = ReadProjectFile(result);
  std::map<int, std::vector<std::array<double, 3>>> byStrip;
  std::istringstream lines(ReadFile(pos));
  size_t image = 0;
  for (std::string line; std::getline(lines, line); ++image) {
    std::istringstream fields(line);
    std::string name;
    double X = 0, Y = 0, Z = 0, omega = 0, phi = 0, kappa = 0;
    int strip = 0;
    fields >> name >> X >> Y >> Z >> omega >> phi >> kappa >> strip;
    const auto& adjusted = project.pImages.at(image);
    byStrip[strip].push_back({X - adjusted.Position[0], Y - adjusted.Position[1], Z - adjusted.Position[2]});
  }
  EXPECT_EQ(image, project.pImages.size());
  std::array<double, 3> sums{};
  for (const auto& [strip, differences] : byStrip) {
    for (size_t axis = 0; axis < 3; ++axis) {
      double mean = 0;
      for (const auto& one : differences) mean += one[axis] / static_cast<double>(differences.size());
      for (const auto& one : differences) sums[axis] += (one[axis] - mean) * (one[axis] - mean);
    }
  }
  for (double& sum : sums) sum = std::sqrt(sum / static_cast<double>(image - byStrip.size()));
  return sums;
}

TEST(SettingRuns, GpsDifferencesFitTheStatedSigma) {
  for (const double sigma : {0.02, 0.2, 1.0}) {
    SyntheticOptions options;
    options.nStrips = 5;
    options.nImagesPerStrip = 8;
    options.nControlPoints = 0;
    options.fPosNoise = sigma;
    options.fPosOffset = options.fPosDrift = 0;
    const Block block(options);
    ScratchFolder folder;
    const RunOutcome outcome = RunPreset({block.Paths().szText, "", block.Paths().szPos, "", ""}, "drone-rtk",
                                         {options.fNoise, sigma, sigma, {}}, folder.Path());
    ASSERT_TRUE(outcome.bDone);
    const std::array<double, 3> rms =
        DifferencesOf(folder.Path() + "/of-preset/OrvoResult.ovc", block.Paths().szPos);
    for (const double axis : rms) {
      // Heavier weights would leave less of the noise, lighter ones more. Positions that are better than the
      // images can tell are followed.
      EXPECT_GT(axis, sigma > 0.1 ? 0.6 * sigma : 0.0);
      EXPECT_LT(axis, 1.3 * sigma);
    }
  }
}

TEST(SettingRuns, OverridesReachTheRunAndItsLog) {
  Block block;
  BlockRun run;
  run.Options.Overrides = {Override("Max_LM_Iteration_Num=1"), Override("GCP_Accuracy=4")};
  block.Run(run);
  const std::string log = ReadFile(block.Output("log.txt"));
  EXPECT_NE(log.find("\n>>Setting Max_LM_Iteration_Num: 1 (command line)\n"
                     ">>Setting GCP_Weight: 0.25 (command line)\n>>Pre-reading data...\n"),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("update unknowns 0..."), std::string::npos);
  EXPECT_EQ(log.find("update unknowns 1..."), std::string::npos);
  run.Options.Overrides.clear();
  run.szOutput = "plain";
  block.Run(run);
  EXPECT_EQ(ReadFile(block.Output("log.txt")).find("Setting"), std::string::npos);
  EXPECT_NE(ReadFile(block.Output("log.txt")).find("update unknowns 1..."), std::string::npos);
}

TEST(SettingRuns, ChecksSeeTheOverrides) {
  const Block block;
  const RunPaths paths{block.Paths().szText, block.Paths().szGcp, block.Paths().szPos, "",
                       block.Paths().szXml};
  const SettingOverride gps = Override("Apply_GPS_Data=true");
  EXPECT_TRUE(HasError(CheckRunInputs(paths, false)));
  EXPECT_FALSE(HasError(CheckRunInputs(paths, false, {&gps, 1})));
  // Made by hand: a command line takes no scale of 0.
  const struct {
    const char *key, *value, *code;
  } rows[] = {{"Apply_GPS_Data", "true", "A013"},
              {"Image_Coor_Scale", "0", "A010"},
              {"Max_LM_Iteration_Num", "0", "A016"}};
  for (const auto& row : rows) {
    const SettingOverride one{FindSetting(row.key).pSetting, row.value, false};
    Diagnosis with;
    DiagnoseRun(paths, DiagnosisScope::Everything, NativePlatform(), with, {&one, 1});
    EXPECT_GT(with.CountOf(row.code), 0) << row.key;
  }
}

std::string FigureOf(const std::vector<report::SettingFigure>& figures, const std::string& key) {
  for (const report::SettingFigure& one : figures) {
    if (one.szKey == key) return one.szValue + " " + NameOf(one.Origin);
  }
  return "none";
}

TEST(SettingRuns, FiguresTellTheOrigin) {
  ScratchFolder folder;
  WriteFile(folder / "a.ini", "Max_LM_Iteration_Num:20\nInitial_Weight:5\nDamping_Coefficient:0.01\n");
  CBundleAdjustment block(NativePlatform(), nullptr);
  block.ReadSettings(folder / "a.ini");
  const SettingOverride one = Override("Damping_Coefficient=1e-6");
  OverrideSettings(block, {&one, 1});
  block.Limits.GPS_WeightXY = 0.001;
  block.Limits.Max_PCG_Iteration_Num = 300;
  const auto figures = SettingFiguresOf(block.Settings, block.Limits, block.Sources, DeviceChoice::Cpu);
  const struct {
    const char *key, *figure;
  } rows[] = {{"Max_LM_Iteration_Num", "20 file"},
              {"Free_LM_Iteration_Num", "4 default"},
              {"Damping_Coefficient", "1e-06 command line"},
              {"GPS_WeightXY", "0.001 run"},
              {"GPS_WeightZ", "0.01 default"},
              {"Max_PCG_Iteration_Num", "300 run"},
              {"Initial_Weight", "1 run"},
              {"Gross_Point_Weight", "1e-06 default"},
              {"Resampling_Points", "true default"},
              {"Apply_GPU", "false command line"},
              {"IMU_Weight", "none"},
              {"Block_Num", "none"}};
  for (const auto& row : rows) EXPECT_EQ(FigureOf(figures, row.key), row.figure) << row.key;
  WriteFile(folder / "a.xml", "<Weight><GCP_Accuracy>1</GCP_Accuracy></Weight>");
  block.ReadSettings(folder / "a.xml");
  const auto xml = SettingFiguresOf(block.Settings, block.Limits, block.Sources, DeviceChoice::FromSettings);
  EXPECT_EQ(FigureOf(xml, "Set_EOP_Unknown"), "false file") << "what is missing in this form is said by it";
  EXPECT_EQ(FigureOf(xml, "Apply_GPU"), "false file");
  EXPECT_EQ(FigureOf(xml, "nThreadNum"), "0 default");
}

}  // namespace
}  // namespace orvo::test
