// Figures of the report against independent ones.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <sstream>

#include "exchange/ProjectWriting.h"
#include "exchange/ResultReading.h"
#include "exchange/StrictResiduals.h"
#include "exchange/colmap/ColmapForm.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

json SummaryOfPaths(const RunPaths& paths, const RunOptions& given = {}) {
  RunOptions options = given;
  options.Rules = RunRules::Guarded;
  options.Report.bPage = false;
  EXPECT_TRUE(RunAdjustment(paths, MadeUpPlatform(int64_t{1} << 32, 2), nullptr, options).bDone);
  return SummaryIn(SummaryFolder(paths.szOutput));
}

void ExpectRmse(const json& figure, double x, double y, double tolerance) {
  EXPECT_NEAR(figure["rmse"][0].get<double>(), x, tolerance) << figure;
  EXPECT_NEAR(figure["rmse"][1].get<double>(), y, tolerance) << figure;
}

/// The summary says of all tie points what plain intersections from the written result say.
void ExpectStrict(const json& summary, const std::string& output, const std::string& project) {
  const exchange::ResultBlock result = exchange::ReadResult(output, project);
  const exchange::ResidualSums sums = exchange::StrictResidualsOf(result.Block, result.Block.Tie);
  const json& strict = summary["residuals"]["strict_all"];
  EXPECT_EQ(strict["measurements"], sums.nNum);
  ExpectRmse(strict, sums.RmsX(), sums.RmsY(), 1e-4);
}

TEST(ReportFigures, SenecaIsAsKnown) {
  ScratchFolder folder;
  RunPaths paths;
  paths.szProject = Example("seneca/seneca_start.prj");
  paths.szGcp = Example("seneca/seneca_gcp.txt");
  paths.szPos = Example("seneca/seneca_pos.txt");
  paths.szSettings = Example("seneca/AdjPara_gps.xml");
  paths.szOutput = folder / "out";
  const json summary = SummaryOfPaths(paths);
  ExpectRmse(summary["residuals"]["listed"], 0.7501, 0.8293, 5e-5);
  ExpectRmse(summary["residuals"]["strict_all"], 0.7292, 0.8104, 5e-5);
  ExpectStrict(summary, paths.szOutput, paths.szProject);
}

/// Where the principal point and the distortion are large, the listed figures are far from the strict ones.
TEST(ReportFigures, SceauxWithItsDistortionFitted) {
  const auto source = SharedData("exchange/sceaux/txt/cameras.txt");
  if (!source) GTEST_SKIP() << "the shared data sets are not at hand";
  ScratchFolder folder;
  exchange::ImportOptions import;
  import.szSource = source->substr(0, source->rfind('/'));
  import.szOut = folder / "block.ovc";
  import.Distortion = exchange::DistortionMode::Fit;
  const RunPaths paths = {import.szOut, "", "", folder / "out", folder / "block_AdjPara.xml"};
  exchange::ExchangeLog silent;
  exchange::ForeignModel model = exchange::ReadColmap(import, silent);
  exchange::WriteBlock(model, import, silent);
  RunOptions options;
  ASSERT_EQ(ParseOverride("Free_LM_Iteration_Num=12", options.Overrides.emplace_back()), "");
  const json summary = SummaryOfPaths(paths, options);
  const json& residuals = summary["residuals"];
  ExpectRmse(residuals["listed"], 0.442, 1.170, 5e-4);
  EXPECT_NEAR(residuals["listed"]["mean"][1].get<double>(), 0.789, 5e-4);
  ExpectRmse(residuals["strict_all"], 0.436, 0.592, 5e-4);
  EXPECT_NEAR(residuals["strict_all"]["mean"][1].get<double>(), 0, 5e-4);
  EXPECT_NEAR(summary["cameras"][0]["end"]["x0"].get<double>(), 47, 0.05);
  ExpectStrict(summary, SummaryFolder(paths.szOutput), "");
}

TEST(ReportFigures, StrictResidualsOfGeneratedBlocks) {
  for (const bool binary : {false, true}) {
    for (const double outliers : {0.0, 0.03}) {
      SyntheticOptions options;
      options.nCameras = 2;
      options.fPrincipalX = 40;
      options.fOutlierFraction = outliers;
      Block block(options);
      BlockRun run;
      run.bBinary = binary;
      const json summary = SummaryOfRun(block, run);
      ExpectStrict(summary, SummaryFolder(block.Output("")), binary ? "" : block.Paths().szText);
    }
  }
}

// Tables.

std::vector<std::vector<std::string>> ReadCsv(const std::string& path) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream text(ReadFile(path));
  for (std::string line; std::getline(text, line);) {
    auto& row = rows.emplace_back();
    std::istringstream fields(line + ",");
    for (std::string field; std::getline(fields, field, ',');) row.push_back(field);
  }
  return rows;
}

Block OutlierBlock() {
  SyntheticOptions options;
  options.fOutlierFraction = 0.02;
  return Block(options);
}

json RunWithTables(Block& block, bool binary) {
  BlockRun run;
  run.bBinary = binary;
  run.szOutput = binary ? "binary" : "text";
  run.Options.Report.Tables = {true, true};
  return SummaryOfRun(block, run);
}

TEST(ReportFigures, ResidualTableHasEveryMeasurement) {
  for (const bool binary : {false, true}) {
    Block block = OutlierBlock();
    const json summary = RunWithTables(block, binary);
    const auto rows = ReadCsv(SummaryFolder(block.Output("")) + "/residuals.csv");
    const SyntheticCounts& truth = block.Truth().Counts;
    ASSERT_EQ(rows.size(), static_cast<size_t>(1 + truth.nTieMeasurements + truth.nGroundMeasurements));
    EXPECT_EQ(rows[0], (std::vector<std::string>{"image", "point", "x", "y", "vx", "vy", "kept", "against"}));
    double square[2] = {};
    int64_t kept = 0, gross = 0;
    std::map<std::string, int64_t> ofImages;
    for (size_t i = 1; i < rows.size(); ++i) {
      const auto& row = rows[i];
      ASSERT_EQ(row.size(), 8U) << i;
      if (row[6] == "1") ++ofImages[row[0]];
      if (row[6] == "0") ++gross;
      if (row[1].front() != 'T' || row[6] != "1" || row[7] != "kept") continue;
      for (size_t axis = 0; axis < 2; ++axis) square[axis] += std::pow(std::stod(row[4 + axis]), 2);
      ++kept;
    }
    const json& strict = summary["residuals"]["strict_kept"];
    EXPECT_EQ(strict["measurements"], kept);
    const auto number = static_cast<double>(kept);
    ExpectRmse(strict, std::sqrt(square[0] / number), std::sqrt(square[1] / number), 1e-6);
    EXPECT_EQ(summary["residuals"]["gross"], gross);
    for (const json& image : summary["images"])
      EXPECT_EQ(image["used"], ofImages[image["name"].get<std::string>()]) << image["name"];
  }
}

TEST(ReportFigures, PointTablesOfATextProjectAreThePointsOfTheBinaryOne) {
  Block block = OutlierBlock();
  RunWithTables(block, false);
  const std::string text = SummaryFolder(block.Output(""));
  const json summary = RunWithTables(block, true);
  const std::string binary = SummaryFolder(block.Output(""));
  const auto rows = ReadCsv(text + "/points.csv"), others = ReadCsv(binary + "/points.csv");
  const SyntheticCounts& truth = block.Truth().Counts;
  ASSERT_EQ(rows.size(),
            static_cast<size_t>(1 + truth.nTiePoints + truth.nControlPoints + truth.nCheckPoints));
  ASSERT_EQ(others.size(), rows.size());
  const std::vector<FilePoint> result = ReadOvtFile(binary + "/OrvoResult.ovt");
  std::map<std::string, std::array<double, 3>> ofResult;
  for (const FilePoint& point : result) ofResult[point.szName] = point.Position;
  size_t with = 0, compared = 0;
  for (size_t i = 1; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i][0], others[i][0]);
    EXPECT_EQ(rows[i][4], others[i][4]);
    if (rows[i][1].empty() || others[i][1].empty()) continue;
    ++with;
    const auto found = ofResult.find(rows[i][0]);
    for (size_t axis = 0; axis < 3; ++axis) {
      // Single precision of measurements, which outliers can magnify.
      EXPECT_NEAR(std::stod(rows[i][1 + axis]), std::stod(others[i][1 + axis]), 0.05) << rows[i][0];
      if (found == ofResult.end() || rows[i][5] != rows[i][6]) continue;
      // The run's own intersection weighs rays otherwise: metres apart at most.
      EXPECT_NEAR(std::stod(rows[i][1 + axis]), found->second[axis], 3) << rows[i][0];
      ++compared;
    }
  }
  EXPECT_GT(with, rows.size() * 9 / 10);
  EXPECT_GT(compared, 2000U);
  const std::string cloud = ReadFile(text + "/points.ply");
  EXPECT_NE(cloud.find("element vertex " + std::to_string(with) + "\n"), std::string::npos);
}

}  // namespace
}  // namespace orvo::test
