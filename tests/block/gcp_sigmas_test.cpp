#include "block/GcpSigmas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/TestFiles.h"

namespace orvo::test {
namespace {

TEST(GcpSigma, ThreeColumnsBehindTheType) {
  const GcpSigma sigma = ParseGcpSigma("P1\t1.5 2.5 3.5 1 0.01 0 0.03");
  EXPECT_STREQ(sigma.szName, "P1");
  EXPECT_EQ(sigma.Sigma, (std::array<double, 3>{0.01, 0, 0.03}));
}

TEST(GcpSigma, ANegativeOneIsNotObserved) {
  const GcpSigma sigma = ParseGcpSigma("P1 1 2 3 1 -1 -1 0.05 and more");
  EXPECT_EQ(sigma.Sigma[0], std::numeric_limits<double>::infinity());
  EXPECT_EQ(sigma.Sigma[2], 0.05);
}

class UntoldSigma : public ::testing::TestWithParam<const char*> {};

TEST_P(UntoldSigma, IsNoNumber) {
  for (const double sigma : ParseGcpSigma(GetParam()).Sigma) EXPECT_TRUE(std::isnan(sigma));
}

INSTANTIATE_TEST_SUITE_P(Lines, UntoldSigma,
                         ::testing::Values("", "P1", "P1 1 2 3 1", "P1 1 2 3 1 0.1 0.2",
                                           "P1 1 2 3 1 surveyed 2019 11 2", "P1 1 2 3 1 0.1 0.2 nan",
                                           "P1 1 2 3 1 0.1 1e999 0.1", "P1 1 2 3 1 0.1 0.2 0.3m",
                                           "P1 1 2 x 1 0.1 0.2 0.3"));

TEST(GcpSigmas, OneForEachPointOfTheFile) {
  ScratchFolder folder;
  WriteFile(folder / "gcp.txt",
            "3\na 1 2 3 1 0.1 0.2 0.3\n2\n0 1 1\n1 2 2\nb 1 2 3 1\n0\nc 1 2 3 2 0 0 0\n1\n0 5 5\n");
  InputFiles inputs;
  const std::vector<GcpSigma> sigmas = ReadGcpSigmas(folder / "gcp.txt", inputs);
  ASSERT_EQ(sigmas.size(), 3u);
  EXPECT_EQ(sigmas[0].Sigma[1], 0.2);
  EXPECT_STREQ(sigmas[1].szName, "b");
  EXPECT_TRUE(std::isnan(sigmas[1].Sigma[0]));
  EXPECT_EQ(sigmas[2].Sigma[2], 0);
  EXPECT_TRUE(ReadGcpSigmas("", inputs).empty());
  EXPECT_TRUE(ReadGcpSigmas(folder / "none.txt", inputs).empty());
}

}  // namespace
}  // namespace orvo::test
