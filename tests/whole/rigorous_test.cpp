// Whole runs of the rigorous method.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>

#include "support/Block.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

BlockRun RigorousRun() {
  BlockRun run;
  run.Options.Method = AdjustMethod::Rigorous;
  return run;
}

/// Of the log; not a number where it has none.
double Sigma0In(const std::string& log) {
  double sigma0 = std::nan("");
  const size_t at = log.find(">>Sigma0:");
  if (at != std::string::npos) std::sscanf(log.c_str() + at, ">>Sigma0:%lf", &sigma0);
  return sigma0;
}

/// Half a pixel of noise, which is the standard deviation that is taken for it.
SyntheticOptions NoisyBlock() {
  SyntheticOptions options;
  options.nStrips = 4;
  options.nImagesPerStrip = 8;
  options.fMeasurementsPerImage = 120;
  options.fNoise = 0.5;
  options.nControlPoints = 8;
  options.nCheckPoints = 6;
  return options;
}

TEST(RigorousRun, NoiseComesOutAsItWentIn) {
  Block block(NoisyBlock());
  const json summary = SummaryOfRun(block, RigorousRun());
  EXPECT_NEAR(Sigma0In(block.Log()), 1, 0.05) << block.Log();
  EXPECT_EQ(summary["method"], "rigorous");
  EXPECT_EQ(summary["solver"], "sparse");
  EXPECT_TRUE(summary["converged"]);
  EXPECT_EQ(summary["verdict"]["result"], "good") << summary["verdict"];
  const Report report = block.AdjustReport();
  ASSERT_TRUE(report.bRead);
  // Points of few rays take much of the noise for themselves: what is left is as the redundancy says.
  const double share = summary["counts"]["redundancy"].get<double>() /
                       (2 * summary["residuals"]["listed"]["measurements"].get<double>());
  EXPECT_NEAR(std::hypot(report.Rmse[0], report.Rmse[1]) / std::sqrt(2), 0.5 * std::sqrt(share), 0.02);
  EXPECT_NEAR(report.Mean[0], 0, 0.02);
  EXPECT_LT(CompareOrientations(block.Truth(), block.Result()).fPosition, 1.5);
}

/// Over all measurements, with points by unweighted least squares.
double StrictRmse(const json& summary) {
  const json& rmse = summary["residuals"]["strict_all"]["rmse"];
  return std::hypot(rmse[0].get<double>(), rmse[1].get<double>());
}

TEST(RigorousRun, LeavesSmallerResidualsThanTheClassicMethod) {
  Block block(NoisyBlock());
  const double classic = StrictRmse(SummaryOfRun(block)),
               rigorous = StrictRmse(SummaryOfRun(block, RigorousRun()));
  EXPECT_LT(rigorous, classic);
  EXPECT_GT(rigorous, 0.9 * classic);
}

TEST(RigorousRun, BothFormsOfTheProjectComeToTheSame) {
  Block block(NoisyBlock());
  ASSERT_TRUE(block.Run(RigorousRun()).bDone);
  const double text = Sigma0In(block.Log());
  const ProjectFile result = block.Result();
  BlockRun run = RigorousRun();
  run.bBinary = true;
  ASSERT_TRUE(block.Run(run).bDone);
  EXPECT_NEAR(Sigma0In(block.Log()), text, 1e-3);
  const ProjectFile other = block.Result();
  ASSERT_EQ(other.pImages.size(), result.pImages.size());
  for (size_t i = 0; i < other.pImages.size(); ++i)
    EXPECT_NEAR(other.pImages[i].Position[2], result.pImages[i].Position[2], 0.02) << i;
  const std::vector<FilePoint> points = ReadOvtFile(block.Output("OrvoResult.ovt"));
  ASSERT_EQ(points.size(), static_cast<size_t>(block.Truth().Counts.nTiePoints));
}

TEST(RigorousRun, PosDataHoldsABlockWithoutControl) {
  SyntheticOptions options = NoisyBlock();
  options.nControlPoints = 0;
  options.fPosOffset = options.fPosDrift = 0;
  Block block(options);
  block.Set("Apply_GPS_Data", "true");
  BlockRun run = RigorousRun();
  run.bPos = true;
  const json summary = SummaryOfRun(block, run);
  EXPECT_TRUE(std::isfinite(Sigma0In(block.Log()))) << block.Log();
  ASSERT_FALSE(summary["pos"].is_null());
  EXPECT_EQ(summary["pos"]["images"].size(), summary["images"].size());
  EXPECT_LT(CompareOrientations(block.Truth(), block.Result()).fPosition, 1);
}

TEST(RigorousRun, ListsResidualsOfTheResult) {
  Block block(NoisyBlock());
  ASSERT_TRUE(block.Run(RigorousRun()).bDone);
  int last = 0;
  for (int k = 0; k < 60; ++k) {
    if (Exists(block.Output("Residuals_" + std::to_string(k) + "_0.res"))) last = k;
  }
  ASSERT_GT(last, 0);
  const std::string text = ReadFile(block.Output("Residuals_" + std::to_string(last) + "_0.res"));
  const Report report = block.AdjustReport();
  double rmse[2] = {};
  const size_t at = text.find("RMSE:");
  ASSERT_NE(at, std::string::npos);
  ASSERT_EQ(std::sscanf(text.c_str() + at, "RMSE:%lf %lf", &rmse[0], &rmse[1]), 2);
  EXPECT_NEAR(rmse[0], report.Rmse[0], 1e-6);
  EXPECT_NEAR(rmse[1], report.Rmse[1], 1e-6);
}

/// A run with this setting of the method.
BlockRun RunWith(const std::string& text) {
  BlockRun run = RigorousRun();
  run.Options.Rules = RunRules::Guarded;
  run.Options.RigorousOverrides = RigorousOverridesOf(std::vector<std::string>{text});
  return run;
}

TEST(RigorousRun, NoiseBeyondTheSettingsIsDoubtful) {
  Block block(NoisyBlock());
  const json verdict = SummaryOfRun(block, RunWith("Sigma_Image=0.2"))["verdict"];
  EXPECT_EQ(verdict["result"], "doubtful") << verdict;
  EXPECT_NE(verdict.dump().find("sigma0 2.5"), std::string::npos) << verdict;
  EXPECT_NE(verdict.dump().find("Set Sigma_Image 0.5 in place of 0.2"), std::string::npos) << verdict;
}

std::vector<std::string> LinesOf(const std::string& path) {
  std::vector<std::string> lines;
  std::istringstream text(ReadFile(path));
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

int64_t LinesWith(const std::vector<std::string>& lines, const std::string& beginning) {
  return std::ranges::count_if(lines, [&](const std::string& line) { return line.starts_with(beginning); });
}

TEST(RigorousRun, TellsThePrecision) {
  Block block(NoisyBlock());
  BlockRun run = RigorousRun();
  run.Options.Rules = RunRules::Guarded;
  ASSERT_TRUE(block.Run(run).bDone);
  const std::vector<std::string> lines = LinesOf(block.Output("precision.csv"));
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "kind,name,quantity,value,standard_deviation,unit,note");
  EXPECT_EQ(LinesWith(lines, "image,"), 6 * 32);
  EXPECT_EQ(LinesWith(lines, "control,"), 3 * 8);
  EXPECT_EQ(LinesWith(lines, "check,"), 3 * 6);
  EXPECT_EQ(LinesWith(lines, "tie,"), 0);
  EXPECT_EQ(LinesWith(lines, "camera,0,f,"), 1);
  EXPECT_NE(block.Log().find(">>Test of sigma0: v'Pv"), std::string::npos);
  EXPECT_NE(block.Log().find(">>Weakest camera parameter: "), std::string::npos);
}

/// Of the heights of images, by name.
std::map<std::string, double> HeightDeviations(const std::vector<std::string>& lines) {
  std::map<std::string, double> heights;
  for (const std::string& line : lines) {
    char name[64] = {};
    double value = 0, deviation = 0;
    if (std::sscanf(line.c_str(), "image,%63[^,],Z,%lf,%lf,object units", name, &value, &deviation) == 3)
      heights[name] = deviation;
  }
  return heights;
}

TEST(RigorousRun, ErrorsAreAsLargeAsTheStandardDeviations) {
  Block block(NoisyBlock());
  ASSERT_TRUE(block.Run(RigorousRun()).bDone);
  std::map<std::string, double> deviations = HeightDeviations(LinesOf(block.Output("precision.csv")));
  const std::vector<FileImage> images = block.Result().pImages;
  ASSERT_EQ(deviations.size(), 32U);
  ASSERT_EQ(images.size(), 32U);
  double squares = 0;
  for (size_t i = 0; i < images.size(); ++i) {
    const SyntheticImage& truth = block.Truth().pImages[i];
    const double deviation = deviations[ImageName(truth)];
    ASSERT_GT(deviation, 0) << ImageName(truth);
    squares += std::pow((images[i].Position[2] - truth.Z) / deviation, 2);
  }
  // All of them share the errors of the focal length and of the control.
  EXPECT_GT(squares, 0);
  EXPECT_LT(squares / 32, 6);
}

TEST(RigorousRun, SummaryHasThePrecision) {
  Block block(NoisyBlock());
  const json precision = SummaryOfRun(block, RigorousRun())["precision"];
  ASSERT_TRUE(precision.is_object());
  EXPECT_NEAR(precision["sigma0"].get<double>(), Sigma0In(block.Log()), 1e-9);
  EXPECT_EQ(precision["test"], "passed") << precision;
  EXPECT_GT(precision["squares"], precision["squares_low"]);
  EXPECT_LT(precision["squares"], precision["squares_high"]);
  EXPECT_EQ(precision["datum_defect"], 0);
  EXPECT_EQ(precision["refusal"], "");
  EXPECT_EQ(precision["images"], 32);
  EXPECT_EQ(precision["blunders"].get<size_t>() + 1, LinesOf(block.Output("blunders.csv")).size());
  for (const char* of : {"centres", "angles"}) {
    for (int axis = 0; axis < 3; ++axis) {
      EXPECT_GT(precision[of]["least"][axis], 0);
      EXPECT_LE(precision[of]["least"][axis], precision[of]["median"][axis]);
      EXPECT_LE(precision[of]["median"][axis], precision[of]["largest"][axis]);
    }
  }
  ASSERT_EQ(precision["cameras"].size(), 1U);
  EXPECT_EQ(precision["cameras"][0]["parameters"][0]["name"], "f");
  EXPECT_TRUE(SummaryOfRun(block)["precision"].is_null());
}

TEST(RigorousRun, TellsThePrecisionOfAllPoints) {
  Block block(NoisyBlock());
  ASSERT_TRUE(block.Run(RunWith("Precision=all")).bDone);
  EXPECT_EQ(LinesWith(LinesOf(block.Output("precision.csv")), "tie,"), 3 * block.Truth().Counts.nTiePoints);
}

TEST(RigorousRun, ListsBlunders) {
  SyntheticOptions options = NoisyBlock();
  options.fOutlierFraction = 0.02;
  Block block(options);
  ASSERT_TRUE(block.Run(RigorousRun()).bDone);
  const std::vector<std::string> lines = LinesOf(block.Output("blunders.csv"));
  ASSERT_GT(lines.size(), 20U);
  EXPECT_EQ(lines[0], "kind,image,point,file,line,x,y,z,vx,vy,vz,unit,test_value");
  double last = HUGE_VAL;
  for (size_t i = 1; i < lines.size(); ++i) {
    // Without a residual there is none, and these come last.
    const std::string text = lines[i].substr(lines[i].rfind(',') + 1);
    const double test = text.empty() ? 0 : std::stod(text);
    EXPECT_LE(test, last) << i;
    last = test;
  }
  EXPECT_NE(block.Log().find(">>Measurements left out:" + std::to_string(lines.size() - 1)),
            std::string::npos);
}

TEST(RigorousRun, TakesTheSettingsOfTheMethod) {
  Block block(NoisyBlock());
  const json summary = SummaryOfRun(block, RunWith("Sigma_Image=0.25"));
  EXPECT_NEAR(Sigma0In(block.Log()), 2, 0.1) << "twice the noise that is taken for it";
  bool told = false;
  for (const json& setting : summary["settings"]) {
    if (setting["key"] != "Sigma_Image") continue;
    told = true;
    EXPECT_EQ(setting["value"], "0.25");
    EXPECT_EQ(setting["origin"], "command line");
  }
  EXPECT_TRUE(told);
}

TEST(RigorousRun, WhatAdjustsNothingIsRefused) {
  for (const char* mode : {"Direct_Intersection", "Absolute_Orientation"}) {
    Block block(NoisyBlock());
    block.Set(mode, "true");
    BlockRun run = RigorousRun();
    run.Options.Rules = RunRules::Guarded;
    const RunOutcome outcome = block.Run(run);
    EXPECT_FALSE(outcome.bDone) << mode;
    ASSERT_EQ(outcome.Refusals.size(), 1u) << mode;
    EXPECT_NE(outcome.Refusals[0].szWhat.find("adjust nothing"), std::string::npos);
  }
}

TEST(RigorousRun, Seneca) {
  ScratchFolder folder;
  RunPaths paths;
  paths.szProject = Example("seneca/seneca_start.prj");
  paths.szGcp = Example("seneca/seneca_gcp.txt");
  paths.szSettings = Example("seneca/AdjPara.xml");
  paths.szOutput = folder / "out";
  RunOptions options;
  options.Method = AdjustMethod::Rigorous;
  ASSERT_TRUE(RunAdjustment(paths, NativePlatform(), nullptr, options).bDone);
  const double sigma0 = Sigma0In(ReadFile(folder / "out/log.txt"));
  EXPECT_GT(sigma0, 0.5);
  EXPECT_LT(sigma0, 2);
  const Report report = ReadReport(folder / "out/OrvoAdjustReport.txt");
  ASSERT_TRUE(report.bRead);
  EXPECT_LT(std::hypot(report.Rmse[0], report.Rmse[1]), 1.12) << "that of the classic method";
}

/// The classic method does not know the accuracy of a control point, whatever stands behind its type.
TEST(ClassicRun, FurtherColumnsOfControlPointsChangeNothing) {
  Block block(NoisyBlock());
  ASSERT_TRUE(block.Run().bDone);
  const std::string before = ReadFile(block.Output("OrvoResult.ovc"));
  std::string gcp = ReadFile(block.Paths().szGcp), changed;
  size_t at = 0, points = 0;
  for (size_t end; (end = gcp.find('\n', at)) != std::string::npos; at = end + 1) {
    std::string line = gcp.substr(at, end - at);
    // Point lines begin with a letter, all others with a number.
    if (std::isalpha(static_cast<unsigned char>(line[0])) != 0) {
      line += " 0.01 0.02 0.03";
      ++points;
    }
    changed += line + "\n";
  }
  ASSERT_EQ(points, 14u);
  WriteFile(block.Paths().szGcp, changed);
  ASSERT_TRUE(block.Run().bDone);
  EXPECT_EQ(ReadFile(block.Output("OrvoResult.ovc")), before);
}

}  // namespace
}  // namespace orvo::test
