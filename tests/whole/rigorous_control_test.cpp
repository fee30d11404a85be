// Control points of whole rigorous runs: wrong ones are named first, and what is not observed says nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "whole/BlockChanges.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

BlockRun RigorousRun() {
  BlockRun run;
  run.Options.Method = AdjustMethod::Rigorous;
  run.Options.Rules = RunRules::Guarded;
  run.Options.RigorousOverrides =
      RigorousOverridesOf(std::vector<std::string>{"Sigma_GCP_XY=0.02", "Sigma_GCP_Z=0.02"});
  return run;
}

SyntheticOptions NineControlPoints() {
  SyntheticOptions options;
  options.nStrips = 5;
  options.nImagesPerStrip = 8;
  options.nCrossStrips = 1;
  options.fMeasurementsPerImage = 150;
  options.fNoise = 0.5;
  options.nControlPoints = 9;
  options.nCheckPoints = 8;
  return options;
}

struct ControlFault {
  const char* szName;
  std::function<void(Lines&, const std::vector<size_t>&)> Change;
  const char* szKind;  ///< of the first line of blunders.csv
  bool bTwo;           ///< the second is such a one, too
};

void PrintTo(const ControlFault& fault, std::ostream* out) { *out << fault.szName; }

/// Points of the GCP file that are changed: of four and six rays, for with two nobody can tell.
constexpr size_t kFirst = 4, kSecond = 7;

class ControlFaults : public ::testing::TestWithParam<ControlFault> {};

std::vector<std::string> FieldsOf(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream text(line);
  for (std::string field; std::getline(text, field, ',');) fields.push_back(field);
  return fields;
}

TEST_P(ControlFaults, AreNamedFirst) {
  Block block(NineControlPoints());
  std::string first, second;
  size_t line = 0;
  ChangeGcp(block, [&](Lines& gcp, const std::vector<size_t>& rows) {
    GetParam().Change(gcp, rows);
    first = gcp[rows[kFirst]][0], second = gcp[rows[kSecond]][0];
    line = rows[kFirst] + 1;
  });
  const json summary = SummaryOfRun(block, RigorousRun());
  EXPECT_TRUE(summary["converged"]);
  EXPECT_EQ(summary["verdict"]["result"], "doubtful");
  EXPECT_NEAR(summary["precision"]["sigma0"].get<double>(), 1, 0.05);
  for (int axis = 0; axis < 3; ++axis) {
    EXPECT_LT(summary["ground"]["check"]["rmse"][static_cast<size_t>(axis)].get<double>(), 0.2) << axis;
  }
  const json& suspects = summary["precision"]["suspects"];
  ASSERT_FALSE(suspects.empty());
  EXPECT_EQ(suspects[0]["kind"], GetParam().szKind);
  EXPECT_TRUE(suspects[0]["left_out"]);
  EXPECT_EQ(summary["precision"]["suspects_found"], suspects.size());
  double last = HUGE_VAL;
  for (const json& suspect : suspects) {
    const double test = suspect["test"].is_null() ? 0 : std::abs(suspect["test"].get<double>());
    EXPECT_LE(test, last) << suspect;
    last = test;
  }
  EXPECT_EQ(summary["precision"]["ground"].size(), 9U + 8U);
  for (const json& point : summary["precision"]["ground"]) {
    if (point["control"]) continue;
    EXPECT_TRUE(point["redundancy"][0].is_null()) << point;
    for (const json& test : point["test"]) EXPECT_LT(std::abs(test.get<double>()), 5) << point;
  }
  std::istringstream table(ReadFile(block.Output("blunders.csv")));
  std::string heading, row, next;
  ASSERT_TRUE(std::getline(table, heading) && std::getline(table, row));
  const std::vector<std::string> fields = FieldsOf(row);
  ASSERT_EQ(fields.size(), 13U) << row;
  EXPECT_EQ(fields[0], GetParam().szKind);
  const bool isControl = fields[0] == "control";
  if (!GetParam().bTwo) {
    EXPECT_EQ(fields[2], first);
    EXPECT_EQ(fields[4], std::to_string(isControl ? line : line + 3)) << row;
  }
  EXPECT_EQ(fields[3], block.Paths().szGcp);
  if (GetParam().bTwo) {
    ASSERT_TRUE(std::getline(table, next));
    std::vector<std::string> found = {fields[2], FieldsOf(next).at(2)}, expected = {first, second};
    std::ranges::sort(found);
    std::ranges::sort(expected);
    EXPECT_EQ(found, expected);
  }
  if (isControl) {
    const std::string words = "control point " + first + " contradicts the others and was left out";
    EXPECT_NE(ReadFile(block.Output("verdict.txt")).find(words), std::string::npos);
    EXPECT_NE(block.Log().find(">>Control point left out:" + first + ", off by"), std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, ControlFaults,
    ::testing::Values(
        ControlFault{"Exchanged",
                     [](Lines& gcp, const std::vector<size_t>& rows) {
                       for (size_t k = 1; k < 4; ++k) std::swap(gcp[rows[kFirst]][k], gcp[rows[kSecond]][k]);
                     },
                     "control", true},
        ControlFault{"OffInX",
                     [](Lines& gcp, const std::vector<size_t>& rows) { Add(gcp[rows[kFirst]][1], 5); },
                     "control", false},
        ControlFault{"OffInZ",
                     [](Lines& gcp, const std::vector<size_t>& rows) { Add(gcp[rows[kFirst]][3], -5); },
                     "control", false},
        ControlFault{"WrongMeasurement",
                     [](Lines& gcp, const std::vector<size_t>& rows) { Add(gcp[rows[kFirst] + 3][1], 200); },
                     "measurement", false}),
    [](const ::testing::TestParamInfo<ControlFault>& test) { return std::string(test.param.szName); });

TEST(RigorousControl, OfHeightsAloneIsNotHeldAgainstItsRoughPlan) {
  for (const bool rough : {false, true}) {
    Block block(NineControlPoints());
    ChangeGcp(block, [&](Lines& gcp, const std::vector<size_t>& rows) {
      for (const size_t row : {rows[2], rows[6]}) {
        ASSERT_EQ(gcp[row][4], "1");
        if (rough) Add(gcp[row][1], 30);
        for (const char* sigma : {"-1", "-1", "0.02"}) gcp[row].push_back(sigma);
      }
    });
    const json summary = SummaryOfRun(block, RigorousRun());
    EXPECT_EQ(summary["verdict"]["result"], "good") << summary["verdict"];
    EXPECT_LT(summary["ground"]["control"]["rmse"][0].get<double>(), 0.3);
  }
}

}  // namespace
}  // namespace orvo::test
