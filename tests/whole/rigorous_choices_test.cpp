// What holds a block, and standard deviations that residuals tell: whole rigorous runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "whole/BlockChanges.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

SyntheticOptions BlockWithAll() {
  SyntheticOptions options;
  options.nStrips = 4;
  options.nImagesPerStrip = 8;
  options.fMeasurementsPerImage = 120;
  options.fNoise = 0.5;
  options.nControlPoints = 8;
  options.nCheckPoints = 6;
  options.fPosOffset = options.fPosDrift = 0;
  options.fPosNoise = 0.1;
  return options;
}

BlockRun RunWith(std::vector<std::string> settings, bool pos = true) {
  settings.insert(settings.end(), {"Sigma_GPS_XY=0.1", "Sigma_GPS_Z=0.1"});
  BlockRun run;
  run.bPos = pos;
  run.Options.Method = AdjustMethod::Rigorous;
  run.Options.Rules = RunRules::Guarded;
  run.Options.RigorousOverrides = RigorousOverridesOf(settings);
  return run;
}

double LargestControlDifference(const json& summary) {
  double largest = 0;
  for (const json& point : summary["ground"]["points"]) {
    if (!point["control"]) continue;
    for (const json& d : point["difference"]) largest = std::max(largest, std::abs(d.get<double>()));
  }
  return largest;
}

struct DatumCase {
  const char* szDatum;
  int32_t nObservations;  ///< besides measurements: 3 of each control point, 3 of each image
  int32_t nDefect;
};

TEST(RigorousDatum, IsWhatTheSettingSays) {
  const DatumCase cases[] = {
      {"auto", 3 * 8 + 3 * 32, 0}, {"control", 3 * 8, 0}, {"gps", 3 * 32, 0}, {"inner", 0, 7}};
  long long measurements = -1;
  for (const DatumCase& each : cases) {
    Block block(BlockWithAll());
    block.Set("Apply_GPS_Data", "true");
    const json summary = SummaryOfRun(block, RunWith({std::string("Datum=") + each.szDatum}));
    long long observations = 0;
    const std::string log = block.Log();
    const size_t at = log.find(">>Observations:");
    ASSERT_NE(at, std::string::npos) << log;
    ASSERT_EQ(std::sscanf(log.c_str() + at, ">>Observations:%lld", &observations), 1);
    observations -= each.nObservations;
    if (measurements < 0) measurements = observations;
    // A control point with one ray counts with its control alone.
    EXPECT_NEAR(static_cast<double>(observations), static_cast<double>(measurements), 4) << each.szDatum;
    EXPECT_EQ(summary["precision"]["datum_defect"], each.nDefect) << each.szDatum;
    EXPECT_EQ(summary["precision"]["free"].empty(), each.nDefect == 0) << each.szDatum;
    EXPECT_GT(LargestControlDifference(summary), 1e-4) << each.szDatum;
    // Where nothing holds it, a block keeps what its start was off.
    EXPECT_LT(LargestControlDifference(summary), each.nDefect == 0 ? 2 : 50) << each.szDatum;
    EXPECT_EQ(block.Log().find("no observation holds"), std::string::npos);
  }
}

TEST(RigorousDatum, HasToBeThere) {
  const struct {
    const char* szDatum;
    const char* szSaid;
    bool bControl, bPos;
  } cases[] = {{"control", "there are no control points", false, true},
               {"gps", "no GPS positions are used", true, false},
               {"gps", "no GPS positions are used", false, false}};
  for (const auto& each : cases) {
    SyntheticOptions options = BlockWithAll();
    if (!each.bControl) options.nControlPoints = 0;
    Block block(options);
    block.Set("Apply_GPS_Data", "true");
    const RunOutcome outcome = block.Run(RunWith({std::string("Datum=") + each.szDatum}, each.bPos));
    EXPECT_FALSE(outcome.bDone);
    ASSERT_FALSE(outcome.Refusals.empty()) << block.Log();
    EXPECT_NE(outcome.Refusals.back().szWhat.find(each.szSaid), std::string::npos);
    EXPECT_FALSE(outcome.Refusals.back().szRemedy.empty());
  }
}

/// Of the line that begins with the group; not a number where there is none.
double FactorIn(const std::string& log, const std::string& group) {
  double factor = std::nan("");
  const size_t at = log.find(">>" + group);
  if (at != std::string::npos) std::sscanf(log.c_str() + at + group.size() + 2, ": %lf times", &factor);
  return factor;
}

TEST(RigorousVariances, AreThoseOfTheNoise) {
  for (const double sigma : {0.25, 0.5, 1.0}) {
    Block block(BlockWithAll());
    block.Set("Apply_GPS_Data", "true");
    const json summary =
        SummaryOfRun(block, RunWith({"Estimate_Variances=true", "Sigma_Image=" + std::to_string(sigma)}));
    const std::string log = block.Log();
    EXPECT_NE(log.find(">>Standard deviations: settled"), std::string::npos) << log;
    const double camera = FactorIn(log, "measurements of camera 0");
    EXPECT_NEAR(camera * sigma, 0.5, 0.02) << log;
    EXPECT_NEAR(FactorIn(log, "X and Y of GPS"), 1, 0.3);
    EXPECT_NEAR(summary["precision"]["sigma0"].get<double>(), 1, 0.01);
    EXPECT_EQ(summary["precision"]["test"], "passed");
  }
}

/// Two cameras, strip by strip in turn; measurements of the second are three times worse.
void SpoilSecondCamera(Block& block) {
  std::mt19937 random(11);
  std::normal_distribution<double> error(0, 0.5 * std::sqrt(8.0));
  const auto& images = block.Truth().pImages;
  ChangeProject(block, kMeasurements, [&](Fields& fields) {
    if (images[std::stoul(fields[0])].nCamera != 1) return;
    for (const size_t axis : {1U, 2U}) Add(fields[axis], error(random));
  });
}

SyntheticOptions TwoCameras() {
  SyntheticOptions options = BlockWithAll();
  options.nCameras = 2;
  return options;
}

TEST(RigorousCameras, MeasureAsWellAsIsStatedOfEach) {
  const struct {
    const char* szStated;
    bool bHolds;
  } cases[] = {{"Sigma_Image_Cameras=1=1.5", true},
               {"Sigma_Image_Cameras=1=1.5 0=0.5", true},
               {"Sigma_Image_Cameras=0=1.5", false},
               {"Sigma_Image_Cameras=none", false}};
  for (const auto& each : cases) {
    Block block(TwoCameras());
    SpoilSecondCamera(block);
    const json summary = SummaryOfRun(block, RunWith({each.szStated, "Estimate_Variances=true"}, false));
    const std::string log = block.Log();
    const double first = FactorIn(log, "measurements of camera 0");
    const double second = FactorIn(log, "measurements of camera 1");
    if (each.bHolds) {
      EXPECT_NEAR(first, 1, 0.05) << log;
      EXPECT_NEAR(second, 1, 0.05) << log;
    } else {
      EXPECT_GT(std::abs(std::log(second / first)), 0.5) << log;
    }
  }
}

TEST(RigorousCameras, StatedWellSigma0IsOne) {
  Block block(TwoCameras());
  SpoilSecondCamera(block);
  const json summary = SummaryOfRun(block, RunWith({"Sigma_Image_Cameras=1=1.5"}, false));
  EXPECT_NEAR(summary["precision"]["sigma0"].get<double>(), 1, 0.04);
  bool listed = false;
  for (const json& setting : summary["settings"]) {
    if (setting["key"] != "Sigma_Image_Cameras") continue;
    listed = true;
    EXPECT_EQ(setting["value"], "1=1.5");
    EXPECT_EQ(setting["origin"], "command line");
  }
  EXPECT_TRUE(listed) << summary["settings"];
}

TEST(RigorousCameras, HaveToBeThere) {
  Block block(TwoCameras());
  const RunOutcome outcome = block.Run(RunWith({"Sigma_Image_Cameras=0=0.5 2=0.5"}, false));
  EXPECT_FALSE(outcome.bDone);
  ASSERT_FALSE(outcome.Refusals.empty()) << block.Log();
  EXPECT_EQ(outcome.Refusals.back().szWhat, "Sigma_Image_Cameras names camera 2, and the project has 2");
  EXPECT_FALSE(outcome.Refusals.back().szRemedy.empty());
}

/// Without a search for gross errors the list of what to look at is the longer.
TEST(RigorousSuspects, MeasurementsInUseAreTold) {
  SyntheticOptions options = BlockWithAll();
  options.fGroundPointNoise = 0.02;
  for (const double share : {0.0, 0.002, 0.06}) {
    options.fOutlierFraction = share;
    if (share > 0.01) options.fMeasurementsPerImage = 500;
    Block block(options);
    const json precision = SummaryOfRun(block, RunWith({"Robust=none"}, false))["precision"];
    const json& suspects = precision["suspects"];
    const int64_t found = precision["suspects_found"];
    EXPECT_EQ(std::ssize(suspects), std::min<int64_t>(found, 100));
    if (share == 0) {
      EXPECT_EQ(found, 0) << suspects;
      continue;
    }
    ASSERT_GT(found, share > 0.01 ? 100 : 2);
    double before = 1e9;
    for (const json& one : suspects) {
      EXPECT_EQ(one["kind"], "measurement");
      EXPECT_FALSE(one["left_out"]);
      const double test = std::abs(one["test"].get<double>());
      EXPECT_GT(test, 4.5);
      EXPECT_LE(test, before);
      before = test;
      const double redundancy = one["redundancy"];
      EXPECT_GT(redundancy, 0.01);
      EXPECT_LT(redundancy, 1);
      EXPECT_GT(one["smallest"].get<double>(), 4.13 * 0.5 * 0.9);
      EXPECT_GE(one["effect"].get<double>(), 0);
    }
    EXPECT_NE(block.Log().find(">>Measurement of point "), std::string::npos);
    if (found > 10) {
      EXPECT_NE(block.Log().find(">>Measurements in use that contradict the others:"), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace orvo::test
