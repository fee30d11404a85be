#include "geometry/Preparation.h"

#include <gtest/gtest.h>

#include <limits>

#include "geometry/GeometryBuilders.h"

namespace orvo {
namespace {

using test::BlockParts;

/// A run with these counts and nothing read.
void Count(BlockParts& run, int32_t images, int32_t cameras, int32_t groups = 0) {
  run.Images.nUnknownImageNum = images;
  run.Cameras.nCameraNum = cameras;
  run.Images.nGroupNum = groups;
}

LayoutFault LayOut(BlockParts& run) {
  return LayOutUnknowns(run.Settings, run.Images, run.Cameras, run.Limits, run.Unknowns);
}

struct LayoutRow {
  const char* what;
  bool eop, iop;
  int32_t images, cameras, groups;
  bool gps, imu, constant, linear;
  // Expected:
  int32_t layout, posSize, blockRows, unknowns, diagonal, diagonalUpper;
};

TEST(LayOutUnknowns, LaysOutAndCountsTheUnknowns) {
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
      {"one group, linear only",   Y, n,   4,  2,  1,   Y, n,  n, Y,  LayoutEop,             0,  5,   24, 144,      84},
      {"both, the same",           Y, Y,   4,  1,  1,   Y, n,  n, Y,  LayoutEopIop,          0,  6,   29, 169,      99},
      {"no group",                 Y, n,   4,  2,  0,   Y, n,  Y, Y,  LayoutEop,             3,  4,   24, 144,      84},
      {"merged, GPS",              Y, Y,   3,  3,  2,   Y, n,  Y, Y,  LayoutMergedEopIop,    6,  5,   45, 435,      240},
      {"both, GPS and IMU",        Y, Y,   4,  1,  3,   Y, Y,  Y, Y,  LayoutEopIop,          12, 8,   65, 601,      333},
      {"IOP ignores POS",          n, Y,   4,  2,  3,   Y, Y,  Y, Y,  LayoutIop,             0,  2,   10, 50,       30},
      {"groups without POS",       Y, n,   4,  2,  3,   n, n,  Y, Y,  LayoutEop,             0,  4,   24, 144,      84},
      // clang-format on
  };
  for (const LayoutRow& row : table) {
    SCOPED_TRACE(row.what);
    BlockParts run;
    Count(run, row.images, row.cameras, row.groups);
    run.Settings.Set_EOP_Unknown = row.eop;
    run.Settings.Set_IOP_Unknown = row.iop;
    run.Limits.Apply_GPS_Data = row.gps;
    run.Limits.Apply_IMU_Data = row.imu;
    run.Limits.Correct_Const_Error = row.constant;
    run.Limits.Correct_LinearError = row.linear;
    EXPECT_EQ(LayOut(run), LayoutFault::None);
    EXPECT_EQ(run.Unknowns.nEopSize, 6);
    EXPECT_EQ(run.Unknowns.nIopSize, 5);
    EXPECT_EQ(run.Unknowns.nLayoutMode, row.layout);
    EXPECT_EQ(run.Unknowns.nPosSize, row.posSize);
    EXPECT_EQ(run.Unknowns.nBlockRowNum, row.blockRows);
    EXPECT_EQ(run.Unknowns.nUnknownNum, row.unknowns);
    EXPECT_EQ(run.Unknowns.nDiagSize, row.diagonal);
    EXPECT_EQ(run.Unknowns.nDiagUpperSize, row.diagonalUpper);
  }
}

TEST(LayOutUnknowns, RefusesWithoutAnyUnknown) {
  BlockParts run;
  Count(run, 4, 2);
  run.Settings.Set_EOP_Unknown = run.Settings.Set_IOP_Unknown = false;
  EXPECT_EQ(LayOut(run), LayoutFault::NoUnknown);
  EXPECT_STREQ(MessageOf(LayoutFault::NoUnknown), "Error!No unknown parameter is defined!\n");
  EXPECT_EQ(run.Unknowns.nUnknownNum, 0);
}

TEST(LayOutUnknowns, SettlesTheSwitchesOfPosData) {
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
    BlockParts run;
    Count(run, 4, 2, row.groups);
    run.Settings.Set_EOP_Unknown = row.eop;
    run.Limits.Apply_GPS_Data = row.gps;
    run.Limits.Correct_Const_Error = row.constant;
    run.Limits.Correct_LinearError = row.linear;
    EXPECT_EQ(LayOut(run), LayoutFault::None);
    EXPECT_EQ(run.Limits.Correct_Const_Error, row.constantAfter);
    EXPECT_EQ(run.Limits.Correct_LinearError, row.linearAfter);
    EXPECT_EQ(run.Limits.GPS_WeightXY, row.weightsForced ? 0.001 : 0.01);
    EXPECT_EQ(run.Limits.GPS_WeightZ, row.weightsForced ? 0.00001 : 0.01);
  }
}

TEST(LayOutUnknowns, RefusesCountsBeyondThirtyTwoBits) {
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
    BlockParts run;
    Count(run, row.images, row.cameras, row.groups);
    run.Settings.Set_EOP_Unknown = row.eop;
    run.Settings.Set_IOP_Unknown = row.iop;
    run.Limits.Apply_GPS_Data = run.Limits.Apply_IMU_Data = row.groups > 0;
    EXPECT_EQ(LayOut(run), LayoutFault::TooLarge);
    EXPECT_EQ(run.Unknowns.nBlockRowNum, 0);
    EXPECT_EQ(run.Unknowns.nUnknownNum, 0);
  }
}

}  // namespace
}  // namespace orvo
