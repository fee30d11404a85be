#include "block/PosSigmas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>

#include "block/PosLine.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

using Three = std::array<double, 3>;

constexpr double kNone = std::numeric_limits<double>::infinity();

TEST(PosSigma, ThreeColumnsBehindTheStripAreThoseOfThePosition) {
  PosSigma sigma;
  EXPECT_EQ(ParsePosSigma("a\t1 2 3 4 5 6 7 0.01 -1 0.03", sigma), "");
  EXPECT_EQ(sigma.Position, (Three{0.01, kNone, 0.03}));
  for (const double angle : sigma.Angles) EXPECT_TRUE(std::isnan(angle));
}

TEST(PosSigma, ThreeMoreAreThoseOfOmegaPhiKappa) {
  PosSigma sigma;
  EXPECT_EQ(ParsePosSigma("a 1 2 3 4 5 6 7 1e-9 1e9 0.03 0.1 0.2 -3", sigma), "");
  EXPECT_EQ(sigma.Position, (Three{1e-9, 1e9, 0.03}));
  EXPECT_EQ(sigma.Angles, (Three{PosRadians(0.2), PosRadians(0.1), kNone}));
}

class UntoldPosSigma : public ::testing::TestWithParam<const char*> {};

TEST_P(UntoldPosSigma, IsNoNumber) {
  PosSigma sigma;
  EXPECT_EQ(ParsePosSigma(GetParam(), sigma), "");
  for (const double one : sigma.Position) EXPECT_TRUE(std::isnan(one));
  for (const double one : sigma.Angles) EXPECT_TRUE(std::isnan(one));
}

INSTANTIATE_TEST_SUITE_P(Lines, UntoldPosSigma,
                         ::testing::Values("", "a", "a 1 2 3", "a 1 2 3 4 5 6", "a 1 2 3 4 5 6 7",
                                           "a 1 2 3 4 5 6 7 \t ", "a 1 2 x 4 5 6 7 1 1 1"));

struct BrokenColumns {
  const char* szColumns;
  const char* szFault;
};

void PrintTo(const BrokenColumns& broken, std::ostream* out) { *out << broken.szColumns; }

class BrokenPosSigma : public ::testing::TestWithParam<BrokenColumns> {};

TEST_P(BrokenPosSigma, IsToldAndTellsNothing) {
  PosSigma sigma;
  sigma.Position = {1, 2, 3};
  EXPECT_EQ(ParsePosSigma(std::string("a 1 2 3 4 5 6 7 ") + GetParam().szColumns, sigma), GetParam().szFault);
  for (const double one : sigma.Position) EXPECT_TRUE(std::isnan(one));
}

constexpr const char* kCount = "behind the strip are not three or six columns";

INSTANTIATE_TEST_SUITE_P(Columns, BrokenPosSigma,
                         ::testing::Values(BrokenColumns{"1", kCount}, BrokenColumns{"1 1", kCount},
                                           BrokenColumns{"1 1 1 1", kCount},
                                           BrokenColumns{"1 1 1 1 1", kCount},
                                           BrokenColumns{"1 1 1 1 1 1 1", kCount},
                                           BrokenColumns{"# flown at noon in May and in June", kCount},
                                           BrokenColumns{"1 1 nan", "'nan' is no standard deviation"},
                                           BrokenColumns{"1 -inf 1", "'-inf' is no standard deviation"},
                                           BrokenColumns{"1 1e999 1", "'1e999' is no standard deviation"},
                                           BrokenColumns{"1 0 1", "'0' is no standard deviation"},
                                           BrokenColumns{"1 1e-320 1", "'1e-320' is no standard deviation"},
                                           BrokenColumns{"2e9 1 1", "'2e9' is no standard deviation"},
                                           BrokenColumns{"1 1 0.1m", "'0.1m' is no standard deviation"},
                                           BrokenColumns{"1 0,1 1", "'0,1' is no standard deviation"},
                                           BrokenColumns{"1 1 1 1 1 x", "'x' is no standard deviation"}));

/// Three images, of which the second was deleted.
ImageTable ThreeImages() {
  ImageTable images;
  images.nImageFileNum = 3;
  images.nImageNum = 2;
  images.pEop.resize(3);
  images.pImageIndex = {0, -1, 1};
  images.pImageNames.resize(3);
  for (size_t i = 0; i < 3; ++i) images.pImageNames[i].sz[0] = static_cast<char>('a' + i);
  return images;
}

TEST(PosSigmas, StandByKeptImage) {
  ScratchFolder folder;
  WriteFile(folder / "pos.txt",
            "c 1 2 3 4 5 6 7 0.1 0.1 0.1\r\n\nb 1 2 3 4 5 6 7 0.2 0.2 0.2\nz 1 2 3 4 5 6 7 0.3 0.3 0.3\n"
            "c 1 2 3 4 5 6 7 0.4 0.4 0.5\n");
  InputFiles inputs;
  const PosSigmas sigmas = ReadPosSigmas(folder / "pos.txt", ThreeImages(), inputs);
  ASSERT_EQ(sigmas.vByImage.size(), 2U);
  EXPECT_TRUE(sigmas.vFaults.empty());
  EXPECT_TRUE(std::isnan(sigmas.vByImage[0].Position[0]));
  EXPECT_EQ(sigmas.vByImage[1].Position, (Three{0.4, 0.4, 0.5}));
  EXPECT_TRUE(ReadPosSigmas("", ThreeImages(), inputs).vByImage.empty());
  EXPECT_TRUE(ReadPosSigmas(folder / "none.txt", ThreeImages(), inputs).vByImage.empty());
}

TEST(PosSigmas, FaultsHaveTheirLines) {
  ScratchFolder folder;
  std::string text = "a 1 2 3 4 5 6 7 0.1 0.1 0.1\n\nc 1 2 3 4 5 6 7 0.1 nan 0.1\na 1 2 3 4 5 6 7 8\n";
  for (int i = 0; i < 20; ++i) text += "z 1 2 3 4 5 6 7 0 0 0\n";
  WriteFile(folder / "pos.txt", text);
  InputFiles inputs;
  const std::vector<PosSigmaFault> faults = ReadPosSigmas(folder / "pos.txt", ThreeImages(), inputs).vFaults;
  ASSERT_EQ(faults.size(), kMostPosSigmaFaults);
  EXPECT_EQ(faults[0].nLine, 3);
  EXPECT_EQ(faults[0].szWhat, "'nan' is no standard deviation");
  EXPECT_EQ(faults[1].nLine, 4);
  EXPECT_EQ(faults[9].nLine, 12);
}

}  // namespace
}  // namespace orvo::test
