#include "whole/Cases.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <set>

#include "support/TestFiles.h"
#include "synthetic/FlightPlan.h"
#include "whole/Measurement.h"

namespace orvo::bench {
namespace {

std::vector<std::string> Names(const std::vector<BenchCase>& cases) {
  std::vector<std::string> names;
  for (const BenchCase& bench : cases) names.push_back(bench.szName);
  return names;
}

TEST(Cases, EveryGeneratedBlockCanBeMadeAndHasItsNumberOfImages) {
  int generated = 0;
  for (const BenchCase& bench : AllCases(ORVO_SOURCE_DIR)) {
    if (bench.szBlock.empty()) continue;
    ++generated;
    EXPECT_EQ(CheckSyntheticOptions(bench.Options), "") << bench.szName;
    EXPECT_EQ(FlightPlan::CountImages(bench.Options), std::stoll(bench.szName)) << bench.szName;
  }
  EXPECT_GE(generated, 30);
}

TEST(Cases, NamesAreUnique) {
  const std::vector<std::string> names = Names(AllCases(ORVO_SOURCE_DIR));
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
}

TEST(Cases, BlocksOfOneNameAreTheSame) {
  std::map<std::string, const BenchCase*> blocks;
  const std::vector<BenchCase> cases = AllCases(ORVO_SOURCE_DIR);
  for (const BenchCase& bench : cases) {
    if (bench.szBlock.empty()) continue;
    const BenchCase& other = *blocks.emplace(bench.szBlock, &bench).first->second;
    EXPECT_EQ(other.bText, bench.bText) << bench.szBlock;
    for (const SyntheticOption& option : SyntheticOptionTable()) {
      std::visit([&](auto field) { EXPECT_EQ(other.Options.*field, bench.Options.*field) << bench.szBlock; },
                 option.field);
    }
  }
}

TEST(Cases, AreChosenByWildcards) {
  const std::vector<BenchCase> cases = AllCases(ORVO_SOURCE_DIR);
  EXPECT_EQ(Names(MatchingCases(cases, {"100/eopiop"})), std::vector<std::string>{"100/eopiop"});
  EXPECT_EQ(Names(MatchingCases(cases, {"*/dense"})), (std::vector<std::string>{"100/dense", "1000/dense"}));
  EXPECT_TRUE(MatchingCases(cases, {"eopiop", "*"}).empty());
  EXPECT_EQ(MatchingCases(cases, {"*/*", "100/*"}).size(), cases.size());
}

TEST(Cases, SettingsAreReplacedInPlace) {
  const std::string xml = "<a><x>1</x><y>2</y></a>";
  EXPECT_EQ(ReplaceSettings(xml, {{"y", "true"}, {"x", ""}}), "<a><x></x><y>true</y></a>");
  EXPECT_EQ(ReplaceSettings(xml, {{"z", "3"}}), std::nullopt);
  EXPECT_EQ(ReplaceSettings("<x>1", {{"x", "3"}}), std::nullopt);
}

TEST(Cases, FilesAreMadeOnce) {
  const test::ScratchFolder work;
  const BenchCase bench = MatchingCases(AllCases(ORVO_SOURCE_DIR), {"100/eop"}).front();
  const auto files = PrepareCase(bench, work.Path());
  ASSERT_TRUE(files);
  const std::string settings = test::ReadFile(files->szSettings);
  EXPECT_NE(settings.find("<Set_IOP_Unknown>false<"), std::string::npos);
  EXPECT_NE(settings.find("<Apply_PCG_Model>true<"), std::string::npos);
  const auto made = std::filesystem::last_write_time(files->szProject);
  ASSERT_TRUE(PrepareCase(bench, work.Path()));
  EXPECT_EQ(std::filesystem::last_write_time(files->szProject), made);
  // Other options make another block.
  BenchCase other = bench;
  other.Options.nSeed = 2;
  ASSERT_TRUE(PrepareCase(other, work.Path()));
  EXPECT_NE(std::filesystem::last_write_time(files->szProject), made);
}

TEST(Cases, TheRmseComesFromTheReport) {
  const test::ScratchFolder folder;
  test::WriteFile(folder / "OrvoAdjustReport.txt",
                  "###\nRMSE:9\t9\nImage point reprojection error:\nMEAN:    1\t   1\nRMSE:    3.0\t    "
                  "4.0\nRMSE: 1 1\n");
  EXPECT_DOUBLE_EQ(ReadReportRms(folder.Path()), std::sqrt(12.5));
  EXPECT_TRUE(std::isnan(ReadReportRms(folder / "nowhere")));
}

}  // namespace
}  // namespace orvo::bench
