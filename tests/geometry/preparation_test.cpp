#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "geometry/GeometryBuilders.h"
#include "support/TestFiles.h"

namespace orvo {
namespace {

using test::ConsoleText;
using test::MadeUpPlatform;

constexpr int64_t kGibibyte = 1LL << 30;
constexpr const char* kTooLarge = "Error!Not enough memory for normal matrix!\n";

/// A run with these counts and nothing read.
void Count(CBundleAdjustment& run, int32_t images, int32_t cameras, int32_t groups = 0) {
  run.Images.nUnknownImageNum = images;
  run.Cameras.nCameraNum = cameras;
  run.Images.nGroupNum = groups;
}

struct LayoutRow {
  const char* what;
  bool eop, iop;
  int32_t images, cameras, groups;
  bool gps, imu, constant, linear;
  // Expected:
  int32_t layout, posSize, blockRows, unknowns, diagonal, diagonalUpper;
};

TEST(PrepareAdjustment, LaysOutAndCountsTheUnknowns) {
  constexpr bool Y = true, n = false;
  const LayoutRow table[] = {
      // clang-format off
      //                          EOP IOP  img cam grp  GPS IMU con lin  layout              pos rows  n  diag      upper
      {"EOP",                      Y, n,   4,  2,  0,   n, n,  Y, Y,  LayoutEop,             0,  4,   24, 144,      84},
      {"IOP",                      n, Y,   4,  2,  0,   n, n,  Y, Y,  LayoutIop,             0,  2,   10, 50,       30},
      {"one camera per image",     Y, Y,   4,  4,  0,   n, n,  Y, Y,  LayoutMergedEopIop,    0,  4,   44, 484,      264},
      {"two images, one camera",   Y, Y,   2,  1,  0,   n, n,  Y, Y,  LayoutEopIop,          0,  3,   17, 97,       57},
      {"more cameras than images", Y, Y,   1,  3,  0,   n, n,  Y, Y,  LayoutEopIop,          0,  4,   21, 111,      66},
      {"EOP, GPS",                 Y, n,   4,  2,  2,   Y, n,  Y, Y,  LayoutEop,             6,  6,   36, 216,      126},
      {"EOP, IMU",                 Y, n,   4,  2,  2,   n, Y,  Y, Y,  LayoutEop,             6,  6,   36, 216,      126},
      {"EOP, GPS and IMU",         Y, n,   4,  2,  2,   Y, Y,  Y, Y,  LayoutEop,             12, 6,   48, 432,      240},
      {"EOP, constant only",       Y, n,   4,  2,  2,   Y, Y,  Y, n,  LayoutEop,             6,  6,   36, 216,      126},
      {"EOP, linear only",         Y, n,   4,  2,  2,   Y, n,  n, Y,  LayoutEop,             3,  6,   30, 162,      96},
      {"EOP, neither",             Y, n,   4,  2,  2,   Y, n,  n, n,  LayoutEop,             3,  6,   30, 162,      96},
      {"EOP, neither, with IMU",   Y, n,   4,  2,  2,   Y, Y,  n, n,  LayoutEop,             6,  6,   36, 216,      126},
      {"one group",                Y, n,   4,  2,  1,   Y, Y,  Y, Y,  LayoutEop,             6,  5,   30, 180,      105},
      {"no group",                 Y, n,   4,  2,  0,   Y, n,  Y, Y,  LayoutEop,             3,  4,   24, 144,      84},
      {"merged, GPS",              Y, Y,   3,  3,  2,   Y, n,  Y, Y,  LayoutMergedEopIop,    6,  5,   45, 435,      240},
      {"both, GPS and IMU",        Y, Y,   4,  1,  3,   Y, Y,  Y, Y,  LayoutEopIop,          12, 8,   65, 601,      333},
      {"IOP ignores POS",          n, Y,   4,  2,  3,   Y, Y,  Y, Y,  LayoutIop,             0,  2,   10, 50,       30},
      {"groups without POS",       Y, n,   4,  2,  3,   n, n,  Y, Y,  LayoutEop,             0,  4,   24, 144,      84},
      // clang-format on
  };
  for (const LayoutRow& row : table) {
    SCOPED_TRACE(row.what);
    CBundleAdjustment run(MadeUpPlatform(kGibibyte, 1), nullptr);
    Count(run, row.images, row.cameras, row.groups);
    run.Settings.Set_EOP_Unknown = row.eop;
    run.Settings.Set_IOP_Unknown = row.iop;
    run.Limits.Apply_GPS_Data = row.gps;
    run.Limits.Apply_IMU_Data = row.imu;
    run.Limits.Correct_Const_Error = row.constant;
    run.Limits.Correct_LinearError = row.linear;
    EXPECT_EQ(run.PrepareAdjustment(), 1);
    EXPECT_EQ(run.Unknowns.nEopSize, 6);
    EXPECT_EQ(run.Unknowns.nIopSize, 5);
    EXPECT_EQ(run.Unknowns.nLayoutMode, row.layout);
    EXPECT_EQ(run.Unknowns.nPosSize, row.posSize);
    EXPECT_EQ(run.Unknowns.nBlockRowNum, row.blockRows);
    EXPECT_EQ(run.Unknowns.nUnknownNum, row.unknowns);
    EXPECT_EQ(run.Unknowns.nDiagSize, row.diagonal);
    EXPECT_EQ(run.Unknowns.nDiagUpperSize, row.diagonalUpper);
    EXPECT_EQ(run.Normal.pPosParams, std::vector<double>(static_cast<size_t>(row.groups * row.posSize), 0.0));
    EXPECT_EQ(run.Normal.pConstVector, std::vector<double>(static_cast<size_t>(row.unknowns), 0.0));
    EXPECT_EQ(run.Normal.pSubMatrixRows.size(), static_cast<size_t>(row.blockRows));
    ASSERT_TRUE(run.Normal.pDenseNormal);
    const double* dense = run.Normal.pDenseNormal.get();
    EXPECT_TRUE(
        std::all_of(dense, dense + row.unknowns * row.unknowns, [](double value) { return value == 0; }));
  }
}

TEST(PrepareAdjustment, RefusesWithoutAnyUnknown) {
  ConsoleText console;
  CBundleAdjustment run(MadeUpPlatform(kGibibyte, 1), console.File());
  Count(run, 4, 2);
  run.Settings.Set_EOP_Unknown = run.Settings.Set_IOP_Unknown = false;
  EXPECT_EQ(run.PrepareAdjustment(), 0);
  EXPECT_EQ(console.Text(), "Error!No unknown parameter is defined!\n");
  EXPECT_EQ(run.Unknowns.nUnknownNum, 0);
}

TEST(PrepareAdjustment, SettlesTheSwitchesOfPosData) {
  const struct {
    const char* what;
    bool eop;
    int32_t groups;
    bool gps, constant, linear;
    bool constantAfter, linearAfter, weightsForced;
  } table[] = {
      {"two groups keep all", true, 2, true, true, true, true, true, false},
      {"one group", true, 1, true, true, true, true, false, true},
      {"no group", true, 0, true, true, true, true, false, true},
      {"one group, POS off", true, 1, false, true, true, true, false, true},
      {"neither error", true, 2, true, false, false, true, false, false},
      {"neither error, POS off", true, 2, false, false, false, true, false, false},
      {"linear alone, one group", true, 1, true, false, true, false, false, true},
      {"IOP only leaves all", false, 1, true, false, true, false, true, false},
      {"IOP only leaves neither", false, 0, true, false, false, false, false, false},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.what);
    CBundleAdjustment run(MadeUpPlatform(kGibibyte, 1), nullptr);
    Count(run, 4, 2, row.groups);
    run.Settings.Set_EOP_Unknown = row.eop;
    run.Limits.Apply_GPS_Data = row.gps;
    run.Limits.Correct_Const_Error = row.constant;
    run.Limits.Correct_LinearError = row.linear;
    EXPECT_EQ(run.PrepareAdjustment(), 1);
    EXPECT_EQ(run.Limits.Correct_Const_Error, row.constantAfter);
    EXPECT_EQ(run.Limits.Correct_LinearError, row.linearAfter);
    EXPECT_EQ(run.Limits.GPS_WeightXY, row.weightsForced ? 0.001 : 0.01);
    EXPECT_EQ(run.Limits.GPS_WeightZ, row.weightsForced ? 0.00001 : 0.01);
  }
}

TEST(PrepareAdjustment, ComparesElementsOfTheDenseMatrixWithBytes) {
  // Quirk: 30 unknowns are 900 elements and pass with 1000 bytes free, although they need 7200.
  const struct {
    int64_t freeBytes;
    bool gpu, pcg;
    int result;
    bool dense;
  } table[] = {{1000, false, false, 1, true}, {999, false, false, 0, false}, {0, false, false, 0, false},
               {-5, false, false, 0, false},  {999, false, true, 1, false},  {999, true, false, 1, false},
               {999, true, true, 1, false}};
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << row.freeBytes << " bytes, GPU " << row.gpu << ", PCG " << row.pcg);
    ConsoleText console;
    CBundleAdjustment run(MadeUpPlatform(row.freeBytes, 1), console.File());
    Count(run, 5, 1);
    run.Settings.Set_IOP_Unknown = false;
    run.Limits.Apply_GPU = row.gpu;
    run.Limits.Apply_PCG_Model = row.pcg;
    EXPECT_EQ(run.PrepareAdjustment(), row.result);
    EXPECT_EQ(static_cast<bool>(run.Normal.pDenseNormal), row.dense);
    EXPECT_EQ(console.Text(), row.result == 1 ? "" : kTooLarge);
  }
}

TEST(PrepareAdjustment, RefusesCountsBeyondThirtyTwoBits) {
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
  const struct {
    const char* what;
    bool eop, iop;
    int32_t images, cameras, groups;
  } table[] = {{"unknowns of images", true, false, kMost / 6 + 1, 1, 0},
               {"unknowns of cameras", false, true, 1, kMost / 5 + 1, 0},
               {"merged", true, true, kMost / 11 + 1, kMost / 11 + 1, 0},
               {"both", true, true, kMost, kMost - 1, 0},
               {"diagonal blocks", true, false, kMost / 36 + 1, 1, 0},
               {"groups", true, false, 1, 1, kMost}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.what);
    ConsoleText console;
    CBundleAdjustment run(MadeUpPlatform(std::numeric_limits<int64_t>::max(), 1), console.File());
    Count(run, row.images, row.cameras, row.groups);
    run.Settings.Set_EOP_Unknown = row.eop;
    run.Settings.Set_IOP_Unknown = row.iop;
    run.Limits.Apply_PCG_Model = true;
    run.Limits.Apply_GPS_Data = run.Limits.Apply_IMU_Data = row.groups > 0;
    EXPECT_EQ(run.PrepareAdjustment(), 0);
    EXPECT_EQ(console.Text(), kTooLarge);
    EXPECT_TRUE(run.Normal.pSubMatrixRows.empty());
    EXPECT_TRUE(run.Normal.pConstVector.empty());
  }
}

TEST(PrepareAdjustment, RefusesAMatrixThatTheAllocatorRefuses) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers' allocators end the program instead";
#else
  ConsoleText console;
  CBundleAdjustment run(MadeUpPlatform(std::numeric_limits<int64_t>::max(), 1), console.File());
  Count(run, 1, 1000000);
  run.Settings.Set_EOP_Unknown = false;  // 5 million unknowns: 200 terabytes
  EXPECT_EQ(run.PrepareAdjustment(), 0);
  EXPECT_EQ(console.Text(), kTooLarge);
#endif
}

TEST(PrepareAdjustment, TransformsFromFourControlPointsOn) {
  ConsoleText console;
  CBundleAdjustment run(MadeUpPlatform(kGibibyte, 1), console.File());
  Count(run, 4, 1);
  run.Paths.szGcpPath = "/nonexistent/points.gcp";
  run.Points.nControlPointNum = 4;
  EXPECT_EQ(run.PrepareAdjustment(), -1);
  EXPECT_TRUE(console.Text().ends_with("Error! Compute Seven Parameters with GCP failed!\n"));
  EXPECT_FALSE(run.Frame.bSevenParamApplied);
}

TEST(PrepareAdjustment, LeavesTheOrientationsAloneWithThreeControlPoints) {
  ConsoleText console;
  CBundleAdjustment run(MadeUpPlatform(kGibibyte, 1), console.File());
  test::TestBlock block = test::ExactStrip();
  block.MoveInto(run);
  run.Paths.szGcpPath = "/nonexistent/points.gcp";
  run.Points.nControlPointNum = 3;
  EXPECT_EQ(run.PrepareAdjustment(), 1);
  EXPECT_EQ(console.Text(), "");
  EXPECT_FALSE(run.Frame.bSevenParamApplied);
  EXPECT_EQ(run.Images.pEop[1].X, 256);
}

}  // namespace
}  // namespace orvo
