// GPS and IMU of unequal precision in whole rigorous runs.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "whole/BlockChanges.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

constexpr double kSigma = 0.05;

SyntheticOptions WithoutControl() {
  SyntheticOptions options;
  options.nStrips = 4;
  options.nImagesPerStrip = 10;
  options.fMeasurementsPerImage = 100;
  options.fNoise = 0.5;
  options.nControlPoints = 0;
  options.nCheckPoints = 10;
  options.fPosOffset = options.fPosDrift = options.fPosNoise = 0;
  return options;
}

BlockRun RunWithGps() {
  BlockRun run;
  run.bPos = true;
  run.Options.Method = AdjustMethod::Rigorous;
  run.Options.Rules = RunRules::Guarded;
  const std::string sigma = std::to_string(kSigma);
  run.Options.RigorousOverrides = RigorousOverridesOf(
      std::vector<std::string>{"Sigma_GPS_XY=" + sigma, "Sigma_GPS_Z=" + sigma, "Precision=images"});
  return run;
}

/// Errors of the positions: every other image is ten times worse; columns behind the strip say so.
void SpoilEveryOther(Block& block, uint32_t seed, bool told) {
  Lines lines = ReadLines(block.Paths().szPos);
  std::mt19937 random(seed);
  std::normal_distribution<double> error;
  for (size_t row = 0; row < lines.size(); ++row) {
    ASSERT_EQ(lines[row].size(), 8U);
    const double sigma = row % 2 == 0 ? kSigma : 10 * kSigma;
    for (size_t axis = 1; axis <= 3; ++axis) Add(lines[row][axis], sigma * error(random));
    for (int axis = 0; told && axis < 3; ++axis) lines[row].push_back(Text(sigma));
  }
  WriteLines(block.Paths().szPos, lines);
}

double CentreError(const Block& block) {
  const ProjectFile result = block.Result();
  double squares = 0;
  for (size_t i = 0; i < result.pImages.size(); ++i) {
    const SyntheticImage& truth = block.Truth().pImages[i];
    squares += std::pow(result.pImages[i].Position[0] - truth.X, 2) +
               std::pow(result.pImages[i].Position[1] - truth.Y, 2) +
               std::pow(result.pImages[i].Position[2] - truth.Z, 2);
  }
  return std::sqrt(squares / static_cast<double>(3 * result.pImages.size()));
}

struct Outcome {
  double fCentre = 0, fSigma0 = 0;
  std::string szTest;
};

Outcome OutcomeOf(bool told, uint32_t seed) {
  Block block(WithoutControl());
  block.Set("Apply_GPS_Data", "true");
  SpoilEveryOther(block, seed, told);
  const json summary = SummaryOfRun(block, RunWithGps());
  return {CentreError(block), summary["precision"]["sigma0"].get<double>(), summary["precision"]["test"]};
}

TEST(RigorousPos, PositionsWeighWhatTheirLinesTell) {
  double squaresTold = 0, squaresUntold = 0;
  for (uint32_t seed = 1; seed <= 3; ++seed) {
    const Outcome told = OutcomeOf(true, seed), untold = OutcomeOf(false, seed);
    EXPECT_NEAR(told.fSigma0, 1, 0.02) << seed;
    EXPECT_EQ(told.szTest, "passed") << seed;
    EXPECT_EQ(untold.szTest, "too large") << seed;
    squaresTold += told.fCentre * told.fCentre;
    squaresUntold += untold.fCentre * untold.fCentre;
  }
  EXPECT_LT(std::sqrt(squaresTold), 0.6 * std::sqrt(squaresUntold));
}

TEST(RigorousPos, AWrongPositionIsNamedInTheLog) {
  const std::string words = " contradicts the others: ";
  for (const bool wrong : {false, true}) {
    Block block(WithoutControl());
    block.Set("Apply_GPS_Data", "true");
    SpoilEveryOther(block, 5, true);
    Lines lines = ReadLines(block.Paths().szPos);
    if (wrong) Add(lines[6][2], 1);
    WriteLines(block.Paths().szPos, lines);
    const json summary = SummaryOfRun(block, RunWithGps());
    const std::string log = block.Log();
    // It shows in its neighbours as well, which come behind it.
    const size_t first = log.find(words), own = log.find("image " + lines[6][0] + words + "Y, w ");
    EXPECT_EQ(own != std::string::npos, wrong) << log;
    EXPECT_EQ(first == std::string::npos, !wrong) << log;
    EXPECT_LE(own, first) << log;
  }
}

TEST(RigorousPos, AllWrongPositionsAreCountedAndTenNamed) {
  Block block(WithoutControl());
  block.Set("Apply_GPS_Data", "true");
  SpoilEveryOther(block, 5, true);
  Lines lines = ReadLines(block.Paths().szPos);
  for (size_t row = 1; row < lines.size(); row += 3) Add(lines[row][3], row % 2 == 0 ? 20 : -20);
  WriteLines(block.Paths().szPos, lines);
  SummaryOfRun(block, RunWithGps());
  const std::string log = block.Log(), words = " contradicts the others: ";
  int named = 0;
  for (size_t at = log.find(words); at != std::string::npos; at = log.find(words, at + 1)) ++named;
  EXPECT_EQ(named, 10) << log;
  EXPECT_NE(log.find(">>GPS positions and attitudes that contradict the others:"), std::string::npos);
}

TEST(RigorousPos, PlanThatIsNotObservedSaysNothing) {
  SyntheticOptions options = WithoutControl();
  options.nControlPoints = 6;
  Block block(options);
  block.Set("Apply_GPS_Data", "true");
  Lines lines = ReadLines(block.Paths().szPos);
  for (size_t row = 0; row < lines.size(); row += 3) {
    Add(lines[row][1], 30);
    for (const char* sigma : {"-1", "0.05", "0.05"}) lines[row].push_back(sigma);
  }
  WriteLines(block.Paths().szPos, lines);
  const json summary = SummaryOfRun(block, RunWithGps());
  EXPECT_LT(CentreError(block), 0.2);
  EXPECT_LT(summary["precision"]["sigma0"].get<double>(), 1.05);
}

TEST(RigorousPos, AnglesWeighWhatTheirLinesTell) {
  for (const bool told : {true, false}) {
    Block block(WithoutControl());
    block.Set("Apply_GPS_Data", "true");
    block.Set("Apply_IMU_Data", "true");
    Lines lines = ReadLines(block.Paths().szPos);
    std::mt19937 random(7);
    std::normal_distribution<double> error;
    for (size_t row = 0; row < lines.size(); ++row) {
      const double sigma = row % 2 == 0 ? 0.05 : 0.5;
      for (size_t axis = 1; axis <= 3; ++axis) Add(lines[row][axis], kSigma * error(random));
      for (size_t angle = 4; angle <= 6; ++angle) Add(lines[row][angle], sigma * error(random));
      for (int axis = 0; axis < 6; ++axis) lines[row].push_back(axis < 3 ? "-1" : Text(sigma));
      for (size_t axis = 8; axis < 11; ++axis) lines[row][axis] = Text(kSigma);
      if (!told) lines[row].resize(11);
    }
    WriteLines(block.Paths().szPos, lines);
    const json precision = SummaryOfRun(block, RunWithGps())["precision"];
    EXPECT_EQ(precision["test"], told ? "passed" : "too large") << precision["sigma0"];
  }
}

TEST(RigorousPos, BrokenColumnsEndTheRunWithFileAndLine) {
  for (const char* sigma : {"nan", "0", "good", "1e999", "0.1 0.1"}) {
    Block block(WithoutControl());
    block.Set("Apply_GPS_Data", "true");
    Lines lines = ReadLines(block.Paths().szPos);
    for (Fields& fields : lines) fields.insert(fields.end(), {"0.1", "0.1", "0.1"});
    lines[4].back() = sigma;
    WriteLines(block.Paths().szPos, lines);
    const RunOutcome outcome = block.Run(RunWithGps());
    EXPECT_FALSE(outcome.bDone) << sigma;
    ASSERT_EQ(outcome.Refusals.size(), 1U) << block.Log();
    EXPECT_EQ(outcome.Refusals[0].szFile, block.Paths().szPos);
    EXPECT_EQ(outcome.Refusals[0].nLine, 5) << sigma;
    EXPECT_FALSE(outcome.Refusals[0].szRemedy.empty());
    BlockRun classic = RunWithGps();
    classic.Options.Method = AdjustMethod::Classic;
    classic.Options.RigorousOverrides = {};
    EXPECT_TRUE(block.Run(classic).bDone) << sigma;
  }
}

/// Bytes of the result of the classic method.
std::string ClassicResult(bool columns) {
  Block block(WithoutControl());
  block.Set("Apply_GPS_Data", "true");
  if (columns) {
    Lines lines = ReadLines(block.Paths().szPos);
    for (Fields& fields : lines) fields.insert(fields.end(), {"0.1", "-1", "0.1", "0.2", "0.2", "-1"});
    WriteLines(block.Paths().szPos, lines);
  }
  BlockRun run;
  run.bPos = true;
  EXPECT_TRUE(block.Run(run).bDone) << block.Log();
  return ReadFile(block.Output("OrvoResult.ovc"));
}

TEST(RigorousPos, TheClassicMethodPassesOverTheColumns) {
  const std::string plain = ClassicResult(false);
  EXPECT_FALSE(plain.empty());
  EXPECT_TRUE(plain == ClassicResult(true));
}

}  // namespace
}  // namespace orvo::test
