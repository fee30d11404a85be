// The same block, divided differently among sections and threads, gives the same adjustment.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <vector>

#include "support/Block.h"

namespace orvo::test {
namespace {

constexpr int64_t kPlentyOfMemory = int64_t{1} << 32;

SyntheticOptions Options(int32_t cameras) {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 5;
  options.nCrossStrips = 1;
  options.fSideOverlap = 50;
  options.nCameras = cameras;
  options.nControlPoints = 3;
  options.nCheckPoints = 4;
  options.fNoise = 0.3;
  options.fMeasurementsPerImage = 1500;
  options.fRelief = 200;
  options.fTilt = 4;
  return options;
}

std::vector<double> Numbers(const std::string& path) {
  std::istringstream text(ReadFile(path));
  std::vector<double> numbers;
  for (double value; text >> value;) numbers.push_back(value);
  return numbers;
}

double Largest(const std::vector<double>& numbers) {
  double largest = 0;
  for (double number : numbers) largest = std::max(largest, std::abs(number));
  return largest;
}

/// Largest difference of two lists of the same length.
double Difference(const std::vector<double>& a, const std::vector<double>& b) {
  if (a.size() != b.size() || a.empty()) return HUGE_VAL;
  double difference = 0;
  for (size_t i = 0; i < a.size(); ++i) difference = std::max(difference, std::abs(a[i] - b[i]));
  return difference;
}

/// Bytes of memory that make `sections` sections of the block.
int64_t MemoryForSections(const SyntheticTruth& truth, int sections) {
  const SyntheticCounts& counts = truth.Counts;
  const int64_t points = counts.nTiePoints + counts.nControlPoints + counts.nCheckPoints;
  const int64_t measurements = counts.nTieMeasurements + counts.nGroundMeasurements;
  const int64_t need = 68 * points + 28 * measurements + 60 * counts.nImages + 40 * counts.nCameras;
  return static_cast<int64_t>(static_cast<double>(need) / (sections - 0.5) / 0.8);
}

struct Case {
  const char* szName;
  bool bEop, bIop;
  int32_t nCameras;
};

void PrintTo(const Case& layout, std::ostream* out) { *out << layout.szName; }

class Division : public ::testing::TestWithParam<Case> {
 protected:
  void Prepare(Block& block) {
    block.Set("Set_EOP_Unknown", GetParam().bEop ? "true" : "false");
    block.Set("Set_IOP_Unknown", GetParam().bIop ? "true" : "false");
    block.Set("Max_LM_Iteration_Num", "4");
    block.Set("LM_Converge_Threshold", "0");
    block.Set("Damping_Coefficient", "1e-4");
    // With several sections the gross test uses the figures of the sections before.
    block.Set("Gross_Point_Threshold", "1e6");
    block.Set("GCP_Accuracy", "0.01");
  }

  /// Every correction and every orientation against those of a reference run, relative to the largest: the
  /// corrections die away from one iteration to the next, so all are held against the first.
  void ExpectSame(const Block& block, const std::string& reference, const std::string& other, double limit) {
    const double first = Largest(Numbers(block / (reference + "/Corrections_0.txt")));
    for (int k = 0; k < 4; ++k) {
      const std::string name = "/Corrections_" + std::to_string(k) + ".txt";
      EXPECT_LT(Difference(Numbers(block / (reference + name)), Numbers(block / (other + name))),
                limit * first)
          << other << name;
    }
    const ProjectFile a = ReadProjectFile(block / (reference + "/OrvoResult.ovc"));
    const ProjectFile b = ReadProjectFile(block / (other + "/OrvoResult.ovc"));
    ASSERT_EQ(a.pImages.size(), b.pImages.size());
    for (size_t i = 0; i < a.pImages.size(); ++i) {
      for (size_t axis = 0; axis < 3; ++axis) {
        const double position = a.pImages[i].Position[axis];
        EXPECT_NEAR(position, b.pImages[i].Position[axis], limit * std::abs(position)) << i;
      }
    }
  }
};

TEST_P(Division, AmongThreads) {
  Block block(Options(GetParam().nCameras));
  Prepare(block);
  for (int processors : {1, 2, 3, 6}) {
    BlockRun run;
    run.Machine = MadeUpPlatform(kPlentyOfMemory, processors);
    run.szOutput = "threads" + std::to_string(processors);
    ASSERT_TRUE(block.Run(run).bDone) << block.Log();
    const std::string line = "CPU thread number:" + std::to_string(processors - 1) + "\n";
    EXPECT_EQ(block.Log().find(line) != std::string::npos, processors > 1);
    if (processors > 1) ExpectSame(block, "threads1", run.szOutput, 1e-9);
  }
}

TEST_P(Division, AmongSections) {
  Block block(Options(GetParam().nCameras));
  Prepare(block);
  for (int sections : {1, 3, 7}) {
    BlockRun run;
    run.bBinary = true;
    run.Machine = MadeUpPlatform(MemoryForSections(block.Truth(), sections), 1);
    run.szOutput = "sections" + std::to_string(sections);
    ASSERT_TRUE(block.Run(run).bDone) << block.Log();
    EXPECT_NE(block.Log().find("CPU Sections:" + std::to_string(sections) + "\n"), std::string::npos);
    if (sections > 1) {
      ExpectSame(block, "sections1", run.szOutput, 1e-9);
      EXPECT_EQ(ReadFile(block / "sections1/OrvoResult.ovt").size(),
                ReadFile(block.Output("OrvoResult.ovt")).size());
      EXPECT_TRUE(Exists(block.Output("Residuals_3_" + std::to_string(sections - 1) + ".res")));
    }
  }
}

TEST_P(Division, TextAndBinaryProjects) {
  Block block(Options(GetParam().nCameras));
  Prepare(block);
  BlockRun run;
  run.szOutput = "text";
  ASSERT_TRUE(block.Run(run).bDone);
  run.bBinary = true;
  run.szOutput = "binary";
  ASSERT_TRUE(block.Run(run).bDone);
  // The text has four decimals of a pixel, the binary file single precision.
  ExpectSame(block, "text", "binary", 1e-4);
}

INSTANTIATE_TEST_SUITE_P(Layouts, Division,
                         ::testing::Values(Case{"Eop", true, false, 1}, Case{"Iop", false, true, 2},
                                           Case{"Merged", true, true, 0}, Case{"EopIop", true, true, 2}),
                         [](const auto& parameter) { return parameter.param.szName; });

TEST(Repetition, TheSameRunGivesTheSameBytes) {
  SyntheticOptions options = Options(2);
  options.fOutlierFraction = 0.002;
  Block block(options);
  block.Set("Max_LM_Iteration_Num", "5");
  for (const char* output : {"first", "second"}) {
    BlockRun run;
    run.bBinary = true;
    run.Machine = MadeUpPlatform(kPlentyOfMemory, 4);
    run.szOutput = output;
    ASSERT_TRUE(block.Run(run).bDone);
  }
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(block / "first")) {
    const std::string name = entry.path().filename().string();
    EXPECT_EQ(MaskClocks(ReadFile(block / ("first/" + name))),
              MaskClocks(ReadFile(block / ("second/" + name))))
        << name;
    ++files;
  }
  // Log, report, point errors, .ovc, .ovt, listing, and three files for each of five iterations.
  EXPECT_GE(files, 6 + 3);
}

}  // namespace
}  // namespace orvo::test
