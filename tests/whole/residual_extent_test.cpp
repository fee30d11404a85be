// Which iterations leave a file of residuals: whole runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <ostream>
#include <string>

#include "support/Block.h"
#include "support/TestFiles.h"
#include "whole/DeviceRuns.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

SyntheticOptions AnyBlock() {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  options.fMeasurementsPerImage = 150;
  options.nControlPoints = 6;
  return options;
}

struct Case {
  const char* szName;
  const char *szElement, *szValue;  ///< of the settings
  AdjustMethod Method;
  bool bSections = false;  ///< points do not fit into the memory that the run sees
  bool bDevice = false;
};

std::ostream& operator<<(std::ostream& out, const Case& one) { return out << one.szName; }

const Case kCases[] = {
    {"Classic", "Set_IOP_Unknown", "true", AdjustMethod::Classic},
    {"ImagesOnly", "Set_IOP_Unknown", "false", AdjustMethod::Classic},
    {"CamerasOnly", "Set_EOP_Unknown", "false", AdjustMethod::Classic},
    {"Sections", "Set_IOP_Unknown", "true", AdjustMethod::Classic, true},
    {"Device", "Set_IOP_Unknown", "true", AdjustMethod::Classic, false, true},
    {"Rigorous", "Set_IOP_Unknown", "true", AdjustMethod::Rigorous},
};

/// Names and contents of the residual files of the latest run.
std::map<std::string, std::string> ResidualFilesOf(const Block& block) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(block.Output(""))) {
    const std::string name = entry.path().filename();
    if (name.starts_with("Residuals_")) files[name] = ReadFile(entry.path());
  }
  return files;
}

int IterationOf(const std::string& name) { return std::stoi(name.substr(name.find('_') + 1)); }

/// What every form of a run has to agree on.
json FiguresOf(json summary) {
  return {{"residuals", summary["residuals"]},
          {"verdict", summary["verdict"]},
          {"cameras", summary["cameras"]},
          {"ground", summary["ground"]},
          {"counts", summary["counts"]}};
}

class Residuals : public ::testing::TestWithParam<Case> {};

TEST_P(Residuals, OfTheIterationsThatAreAskedFor) {
  Block block(AnyBlock());
  block.Set(GetParam().szElement, GetParam().szValue);
  const auto run = [&](ResidualExtent extent) {
    BlockRun made;
    if (GetParam().bDevice) made.Options = device::HostOptions();
    made.bBinary = GetParam().bSections;
    made.Machine = MadeUpPlatform(GetParam().bSections ? 80 << 10 : int64_t{1} << 32, 2);
    made.Options.Rules = RunRules::Guarded;
    made.Options.Method = GetParam().Method;
    made.Options.Residuals = extent;
    const json summary = SummaryOfRun(block, made);
    EXPECT_EQ(summary["counts"]["sections"].get<int>() > 1, GetParam().bSections);
    return FiguresOf(summary);
  };
  const json all = run(ResidualExtent::All);
  const auto filesOfAll = ResidualFilesOf(block);
  ASSERT_FALSE(filesOfAll.empty());
  int latest = 0;
  for (const auto& [name, text] : filesOfAll) latest = std::max(latest, IterationOf(name));
  auto expected = filesOfAll;
  std::erase_if(expected, [latest](const auto& file) { return IterationOf(file.first) < latest; });
  if (GetParam().Method == AdjustMethod::Classic) {
    EXPECT_GT(filesOfAll.size(), expected.size());
  }
  EXPECT_EQ(run(ResidualExtent::Last), all);
  const auto filesOfLast = ResidualFilesOf(block);
  ASSERT_EQ(filesOfLast.size(), expected.size());
  EXPECT_TRUE(filesOfLast == expected);
  EXPECT_EQ(run(ResidualExtent::None), all);
  EXPECT_TRUE(ResidualFilesOf(block).empty()) << "those of the run before are gone";
  EXPECT_EQ(run(ResidualExtent::All), all);
  EXPECT_TRUE(ResidualFilesOf(block) == filesOfAll);
}

INSTANTIATE_TEST_SUITE_P(All, Residuals, ::testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.szName); });

}  // namespace
}  // namespace orvo::test
