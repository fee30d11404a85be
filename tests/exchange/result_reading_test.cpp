#include "exchange/ResultReading.h"

#include <gtest/gtest.h>

#include <cmath>

#include "exchange/ExchangeFault.h"
#include "exchange/StrictResiduals.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ScratchFolder;
using test::WriteFile;

constexpr char kHead[] =
    "2 1 1\n0 4000 3000 0 5000 0 0 0 0 0\n"
    "1 0\na/left.jpg\n1 0 0 0 1 0 0 0 1\n0 0 1000\n"
    "2 0\na/right.jpg\n1 0 0 0 1 0 0 0 1\n200 0 1000\n";
constexpr char kPoint[] = "T1 90 3 3 0\n2\n0 500 0\n1 -500 0\n";

/// The result of a text project: the right image has moved.
std::string MovedHead() {
  std::string head = kHead;
  head.replace(head.find("200 0 1000"), 10, "400 0 1000");
  return head;
}

std::string FaultOf(const std::string& path, const std::string& project = {}) {
  try {
    ReadResult(path, project);
  } catch (const ExchangeFault& fault) {
    return fault.What.szWhat;
  }
  return "";
}

TEST(ResultReading, AProjectIsAsItStands) {
  const ScratchFolder scratch;
  WriteFile(scratch / "b.prj", std::string(kHead) + kPoint);
  const ResultBlock result = ReadResult(scratch / "b.prj");
  EXPECT_FALSE(result.bResult);
  EXPECT_EQ(result.szOrigin, scratch / "b.prj");
  ASSERT_EQ(result.Block.Tie.Points.size(), 1u);
  EXPECT_EQ(result.Block.Tie.Points[0].P, (std::array<double, 3>{90, 3, 3}));
}

/// Where the rays of the point meet, within half a pixel of which coordinates stay.
TEST(ResultReading, StalePointsAreIntersectedAnew) {
  const ScratchFolder scratch;
  WriteFile(scratch / "b.prj", std::string(kHead) + kPoint);
  ResultBlock result = ReadResult(scratch / "b.prj");
  std::array<double, 3> met = result.Block.Tie.Points[0].P;
  ASSERT_TRUE(IntersectStrictly(result.Block, result.Block.Tie.Of(result.Block.Tie.Points[0]), met));
  const std::pair<std::array<double, 3>, bool> rows[] = {
      {met, false},
      {{met[0] + 1e-4, met[1], met[2]}, false},
      {{met[0] + 50, met[1], met[2]}, true},
      {{0, 0, 0}, true},
      {{NAN, 0, 0}, true},
  };
  for (const auto& [P, stale] : rows) {
    result.Block.Tie.Points[0].P = P;
    EXPECT_EQ(IntersectStale(result), stale ? 1 : 0) << P[0];
    for (size_t k = 0; k < 3; ++k)
      EXPECT_NEAR(result.Block.Tie.Points[0].P[k], stale ? met[k] : P[k], 1e-6) << P[0];
  }
}

TEST(ResultReading, AResultWithoutPointsTakesThoseOfTheProjectBeside) {
  const ScratchFolder scratch;
  WriteFile(scratch / "b.prj", std::string(kHead) + kPoint);
  std::filesystem::create_directory(scratch / "out");
  WriteFile(scratch / "out/OrvoResult.ovc", MovedHead());
  for (const char* path : {"out", "out/OrvoResult.ovc"}) {
    const ResultBlock result = ReadResult(scratch / path);
    EXPECT_TRUE(result.bResult);
    EXPECT_EQ(std::filesystem::path(result.szOrigin).filename(), "b.prj");
    ASSERT_EQ(result.Block.Tie.Points.size(), 1u);
    // With twice the base the rays meet 2000 m below.
    EXPECT_NEAR(result.Block.Tie.Points[0].P[0], 200, 1e-8);
    EXPECT_NEAR(result.Block.Tie.Points[0].P[1], 0, 1e-8);
    EXPECT_NEAR(result.Block.Tie.Points[0].P[2], -1000, 1e-8);
  }
}

TEST(ResultReading, RefusesWhatIsNoResult) {
  const ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "out");
  EXPECT_EQ(FaultOf(scratch / "out"), "the folder has no OrvoResult.ovc");
  WriteFile(scratch / "out/OrvoResult.ovc", kHead);
  EXPECT_EQ(FaultOf(scratch / "out"),
            "the result has no OrvoResult.ovt, and no .prj beside the folder has its images");
  WriteFile(scratch / "b.prj", std::string(kHead) + kPoint);
  WriteFile(scratch / "c.prj", std::string(kHead) + kPoint);
  EXPECT_NE(FaultOf(scratch / "out").find("several projects"), std::string::npos);
  EXPECT_EQ(FaultOf(scratch / "out", scratch / "c.prj"), "");
  std::string other = kHead;
  other.replace(other.find("left"), 4, "leer");
  WriteFile(scratch / "d.prj", other + kPoint);
  EXPECT_NE(FaultOf(scratch / "out", scratch / "d.prj").find("other images"), std::string::npos);
  EXPECT_NE(FaultOf(scratch / "none.prj"), "");
}

TEST(ResultReading, AResultWithPointsRefusesAProjectOfOtherImages) {
  const ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "out");
  std::string head = kHead;
  WriteFile(scratch / "out/OrvoResult.ovc", head.replace(0, 5, "2 1 0"));
  // No points, no measurements.
  WriteFile(scratch / "out/OrvoResult.ovt", std::string(8, '\0'));
  WriteFile(scratch / "same.prj", std::string(kHead) + kPoint);
  std::string other = kHead;
  WriteFile(scratch / "other.prj", other.replace(other.find("left"), 4, "leer") + kPoint);
  const std::string without = FaultOf(scratch / "out");
  EXPECT_EQ(FaultOf(scratch / "out", scratch / "same.prj"), without);
  EXPECT_NE(FaultOf(scratch / "out", scratch / "other.prj").find("other images"), std::string::npos);
}

}  // namespace
}  // namespace orvo::exchange
