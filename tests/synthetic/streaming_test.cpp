// The same bytes every time, and little memory.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdint>

#include "support/Block.h"

namespace orvo::test {
namespace {

std::string AllBytes(const Block& block) {
  const SyntheticPaths& paths = block.Paths();
  std::string bytes;
  for (const std::string* path : {&paths.szText, &paths.szOvc, &paths.szOvt, &paths.szGcp, &paths.szPos,
                                  &paths.szXml, &paths.szIni, &paths.szTruth}) {
    const std::string content = ReadFile(*path);
    EXPECT_FALSE(content.empty()) << *path;
    bytes += content;
  }
  return bytes;
}

uint64_t Fnv1a(const std::string& bytes) {
  uint64_t hash = 14695981039346656037u;
  for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211u;
  return hash;
}

SyntheticOptions Everything() {
  SyntheticOptions options;
  options.nCrossStrips = 2;
  options.nCameras = 3;
  options.fK2 = 1e-18;
  options.bRandomOrder = true;
  options.fOutlierFraction = 0.02;
  options.fGroundPointNoise = 0.02;
  options.fImuOffset = options.fImuDrift = 0.01;
  options.fStartK1 = 1e-12;
  options.fFrameScale = 3;
  options.fFrameKappa = 44;
  return options;
}

TEST(GenerateBlock, SameOptionsGiveTheSameBytes) {
  EXPECT_EQ(AllBytes(Block(Everything())), AllBytes(Block(Everything())));
}

TEST(GenerateBlock, AnotherSeedGivesOtherBytes) {
  SyntheticOptions options = Everything();
  const std::string first = AllBytes(Block(options));
  options.nSeed = 2;
  EXPECT_NE(first, AllBytes(Block(options)));
}

TEST(GenerateBlock, BytesAreTheSameOnEveryMachine) {
  // Changes only when the generator's output is meant to change.
  EXPECT_EQ(Fnv1a(AllBytes(Block(Everything()))), 12048405795011813686u);
}

TEST(GenerateBlock, TruthTellsTiePointsOfSmallBlocksOnly) {
  SyntheticOptions options;
  const Block small(options);
  const auto points = static_cast<int32_t>(small.Truth().Counts.nTiePoints);
  EXPECT_EQ(small.Truth().pTiePoints.size(), static_cast<size_t>(points));
  options.nTruthPointLimit = points - 1;
  EXPECT_TRUE(Block(options).Truth().pTiePoints.empty());
  options.nTruthPointLimit = points;
  EXPECT_EQ(Block(options).Truth().pTiePoints.size(), static_cast<size_t>(points));
}

int64_t PeakKibibytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(GenerateBlock, MemoryDoesNotGrowWithTheMeasurements) {
  SyntheticOptions options;
  options.nStrips = 10;
  options.nImagesPerStrip = 30;
  options.nTruthPointLimit = 0;
  ScratchFolder folder;
  const auto generate = [&](double measurements) {
    options.fMeasurementsPerImage = measurements;
    const SyntheticBlock block = GenerateBlock(options, folder.Path(), "block");
    EXPECT_TRUE(block.bDone) << block.szError;
    return block.Truth.Counts.nTieMeasurements;
  };
  EXPECT_NEAR(static_cast<double>(generate(50)), 15000, 1000);
  const int64_t before = PeakKibibytes();
  EXPECT_NEAR(static_cast<double>(generate(1000)), 300000, 10000);
  // 300,000 measurements take 9 MB in the .ovt and 12 MB in the text.
  EXPECT_LT(PeakKibibytes() - before, 4500);
}

}  // namespace
}  // namespace orvo::test
