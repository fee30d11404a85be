// Rigorous runs over points that do not fit into memory.
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "support/Block.h"

namespace orvo::test {
namespace {

/// Large enough for its arrays to lie in files.
SyntheticOptions ManyPoints() {
  SyntheticOptions options;
  options.nStrips = 4;
  options.nImagesPerStrip = 8;
  options.fMeasurementsPerImage = 6000;
  options.fNoise = 0.5;
  options.nControlPoints = 8;
  options.nCheckPoints = 4;
  return options;
}

BlockRun RunWith(int64_t freeBytes, int processors, bool binary, const char* output) {
  BlockRun run;
  run.Options.Method = AdjustMethod::Rigorous;
  run.Machine = MadeUpPlatform(freeBytes, processors);
  run.bBinary = binary;
  run.szOutput = output;
  return run;
}

std::vector<std::string> ResultsOf(bool binary) {
  std::vector<std::string> names = {"OrvoResult.ovc", "precision.csv", "blunders.csv",
                                    "OrvoAdjustReport.txt"};
  if (binary) names.emplace_back("OrvoResult.ovt");
  return names;
}

/// A report's lines but for those that tell times.
std::string WithoutTimes(const std::string& text) {
  std::string kept;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
    const std::string line = text.substr(at, end - at);
    if (line.find("ime") == std::string::npos) kept += line;
    at = end;
  }
  return kept;
}

TEST(RigorousMemory, PointsOnTheDiskComeToTheSameBytes) {
  Block block(ManyPoints());
  for (const bool binary : {false, true}) {
    ASSERT_TRUE(block.Run(RunWith(int64_t{1} << 40, 1, binary, "roomy")).bDone);
    EXPECT_EQ(block.Log().find("do not fit"), std::string::npos);
    ASSERT_TRUE(block.Run(RunWith(int64_t{16} << 20, 2, binary, "tight")).bDone) << block.Log();
    EXPECT_NE(block.Log().find(">>The points do not fit into memory: about "), std::string::npos);
    for (const std::string& name : ResultsOf(binary)) {
      const std::string roomy = ReadFile(block / ("roomy/" + name)),
                        tight = ReadFile(block / ("tight/" + name));
      EXPECT_FALSE(roomy.empty()) << name;
      EXPECT_EQ(WithoutTimes(roomy), WithoutTimes(tight)) << name;
    }
  }
}

}  // namespace
}  // namespace orvo::test
